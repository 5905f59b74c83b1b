// Tests that the style follows the desktop's settings, as Qt reads them, and the desktop's portal.

#include "BusServices.h"
#include "VirtualDisplay.h"

#include "support/Await.h"
#include "ui/SystemStyle.h"

#include <QDBusArgument>
#include <QDBusContext>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusVariant>
#include <QFile>
#include <QFontInfo>
#include <QGuiApplication>
#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

#include <cstdio>
#include <stdexcept>

using namespace brindle;
using namespace Qt::StringLiterals;

namespace {

/// KDE's settings: dark, with a purple accent.
const QByteArray colours = "[Colors:Button]\n"
                           "BackgroundNormal=41,44,48\n"
                           "ForegroundNormal=252,252,252\n"
                           "[Colors:Selection]\n"
                           "BackgroundNormal=145,65,172\n"
                           "ForegroundNormal=252,252,252\n"
                           "[Colors:View]\n"
                           "BackgroundNormal=20,22,24\n"
                           "ForegroundNormal=252,252,252\n"
                           "[Colors:Window]\n"
                           "BackgroundNormal=32,35,38\n"
                           "ForegroundNormal=252,252,252\n";

/// Makes KDE the desktop for applications created later.
void makeDesktop(const QTemporaryDir &settings)
{
    QFile file(settings.filePath(u"kdeglobals"_s));
    if (!file.open(QIODevice::WriteOnly) || file.write(colours) != colours.size()) {
        throw std::runtime_error("the desktop's settings can't be written");
    }
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(settings.path()));
    qputenv("XDG_CURRENT_DESKTOP", "KDE");
    qputenv("KDE_SESSION_VERSION", "5");
    qunsetenv("QT_QPA_PLATFORMTHEME");
}

const QColor purple(145, 65, 172);
const auto portalPath = u"/org/freedesktop/portal/desktop"_s;
const auto appearance = u"org.freedesktop.appearance"_s;
const auto schemeKey = u"color-scheme"_s;
const auto accentKey = u"accent-color"_s;
const auto gnome = u"org.gnome.desktop.interface"_s;
const auto fontKey = u"font-name"_s;
const auto textScaleKey = u"text-scaling-factor"_s;
const auto animationsKey = u"enable-animations"_s;

/// A colour in the portal's form: each share from 0 to 1.
struct Shares
{
    double red;
    double green;
    double blue;
};

QDBusArgument &operator<<(QDBusArgument &out, const Shares &shares)
{
    out.beginStructure();
    out << shares.red << shares.green << shares.blue;
    out.endStructure();
    return out;
}

const QDBusArgument &operator>>(const QDBusArgument &in, Shares &shares)
{
    in.beginStructure();
    in >> shares.red >> shares.green >> shares.blue;
    in.endStructure();
    return in;
}

/// Answers like Debian's xdg-desktop-portal. Lacks ReadOne, like version 1.16 (Debian 12).
class SettingsPortal : public QObject, protected QDBusContext
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.portal.Settings")

public:
    explicit SettingsPortal(const QVariantMap &chosen)
        : values(chosen)
        , bus_(QDBusConnection::connectToBus(QDBusConnection::SessionBus, u"portal"_s))
    {
        if (!bus_.registerObject(portalPath, this, QDBusConnection::ExportAllContents) ||
            !bus_.registerService(u"org.freedesktop.portal.Desktop"_s)) {
            throw std::runtime_error("no portal to be had");
        }
    }
    ~SettingsPortal() override { QDBusConnection::disconnectFromBus(u"portal"_s); }

    void choose(const QString &key, const QVariant &value)
    {
        Q_EMIT SettingChanged(groupOf(key), key, QDBusVariant(value));
    }

    const QVariantMap values;
    bool isSilent = false;

public Q_SLOTS:
    /// Wraps the value twice, as the real portal does.
    QDBusVariant Read(const QString &group, const QString &key)
    {
        setDelayedReply(isSilent);
        if (group != groupOf(key) || !values.contains(key)) {
            sendErrorReply(u"org.freedesktop.portal.Error.NotFound"_s,
                           u"Requested setting not found"_s);
        }
        return QDBusVariant(QVariant::fromValue(QDBusVariant(values.value(key, 0))));
    }

Q_SIGNALS:
    void SettingChanged(const QString &group, const QString &key, const QDBusVariant &value);

private:
    static QString groupOf(const QString &key)
    {
        return key == schemeKey || key == accentKey ? appearance : gnome;
    }

    QDBusConnection bus_;
};

/// The style after the portal's answer.
struct Style : SystemStyle
{
    Style() { waitForPortal(60'000); }
};

} // namespace

Q_DECLARE_METATYPE(Shares)

class TestDesktopColours : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { qDBusRegisterMetaType<Shares>(); }

    void cleanup() { qputenv("XDG_CURRENT_DESKTOP", "KDE"); }

    void aDesktopsOwnSettingsAreUsed()
    {
        const SystemStyle style;
        QVERIFY(style.isDark());
        QCOMPARE(style.accent(), purple);
    }

    void thePortalsComeFirst_data()
    {
        const auto colour = [](double red, double green, double blue) {
            return QVariant::fromValue(Shares{red, green, blue});
        };
        QTest::addColumn<QVariant>("scheme");
        QTest::addColumn<QVariant>("accent");
        QTest::addColumn<bool>("dark");
        QTest::addColumn<QColor>("expected");
        QTest::newRow("light") << QVariant(2U) << colour(0.2, 0.4, 0.6) << false
                               << QColor(51, 102, 153);
        QTest::newRow("dark") << QVariant(1U) << colour(0, 0, 0) << true << QColor(Qt::black);
        QTest::newRow("none") << QVariant(0U) << colour(-1, -1, -1) << true << purple;
        const QVariant nonsense(u"green"_s);
        QTest::newRow("nonsense") << nonsense << nonsense << true << purple;
        QTest::newRow("too much") << QVariant(3U) << colour(0, 0, 1.5) << true << purple;
        QTest::newRow("no number") << QVariant(0U) << colour(0, qQNaN(), 0) << true << purple;
    }

    void thePortalsComeFirst()
    {
        QFETCH(QVariant, scheme);
        QFETCH(QVariant, accent);
        QFETCH(bool, dark);
        QFETCH(QColor, expected);
        const SettingsPortal portal({{schemeKey, scheme}, {accentKey, accent}});
        const Style style;
        QCOMPARE(style.isDark(), dark);
        QCOMPARE(style.accent().rgb(), expected.rgb());
    }

    void gnomesFontIsUsed_data()
    {
        QTest::addColumn<QByteArray>("desktop");
        QTest::addColumn<QVariant>("font");
        QTest::addColumn<QVariant>("textScale");
        QTest::addColumn<QString>("family");
        QTest::addColumn<int>("size");
        const QString ours = SystemStyle().font().family();
        const int oursSize = SystemStyle().font().pixelSize();
        const auto row = [](const char *name, const QByteArray &desktop, const QVariant &font,
                            const QVariant &scale, const QString &family, int size) {
            QTest::newRow(name) << desktop << font << scale << family << size;
        };
        const auto dejavu = u"DejaVu Sans"_s;
        row("usual", "GNOME", u"DejaVu Sans 12"_s, 1.0, dejavu, 16);
        row("large text", "GNOME", u"DejaVu Sans 12"_s, 1.25, dejavu, 20);
        row("smallest text", "GNOME", u"DejaVu Sans 12"_s, 0.5, dejavu, 8);
        row("a style", "ubuntu:GNOME", u"DejaVu Sans Bold Oblique 9"_s, 1.0, dejavu, 12);
        row("not installed", "GNOME", u"No Such Family 12"_s, 1.0, ours, 16);
        row("no size", "GNOME", u"DejaVu Sans"_s, 1.0, ours, oursSize);
        row("nonsense", "GNOME", true, u"wide"_s, ours, oursSize);
        row("too much", "GNOME", u"DejaVu Sans 101"_s, 3.1, dejavu, oursSize);
        row("another desktop", "KDE", u"DejaVu Sans 12"_s, 1.25, ours, oursSize);
    }

    void gnomesFontIsUsed()
    {
        QFETCH(QByteArray, desktop);
        QFETCH(QVariant, font);
        QFETCH(QVariant, textScale);
        QFETCH(QString, family);
        QFETCH(int, size);
        qputenv("XDG_CURRENT_DESKTOP", desktop);
        SettingsPortal portal({{fontKey, font}, {textScaleKey, textScale}});
        const Style style;
        QCOMPARE(style.font().family(), family);
        QCOMPARE(style.font().pixelSize(), size);
        if (desktop == "GNOME") {
            portal.choose(fontKey, u"DejaVu Sans 24"_s);
            portal.choose(textScaleKey, 2.0);
            spinUntil([&] { return style.font().pixelSize() == 64; });
        }
    }

    void aSilentPortalIsNotWaitedFor()
    {
        SettingsPortal portal({{schemeKey, 2U}});
        portal.isSilent = true;
        SystemStyle style;
        QSignalSpy answered(&style, &SystemStyle::answered);
        style.waitForPortal();
        QVERIFY(style.isDark());
        QCOMPARE(answered.size(), 0);
    }

    void aChangeIsFollowed()
    {
        SettingsPortal portal({{schemeKey, 1U}});
        Style style;
        QSignalSpy changed(&style, &SystemStyle::changed);
        auto stranger = QDBusConnection::connectToBus(QDBusConnection::SessionBus, u"stranger"_s);
        auto signal = QDBusMessage::createSignal(portalPath, u"org.freedesktop.portal.Settings"_s,
                                                 u"SettingChanged"_s);
        stranger.send(signal << appearance << schemeKey << QVariant::fromValue(QDBusVariant(2U)));
        // The bus keeps the order, so the stranger's signal arrives before the portal's.
        stranger.call(QDBusMessage::createMethodCall(u"org.freedesktop.DBus"_s, u"/"_s,
                                                     u"org.freedesktop.DBus"_s, u"GetId"_s));
        QDBusConnection::disconnectFromBus(u"stranger"_s);
        portal.choose(accentKey, QVariant::fromValue(Shares{1, 0, 0}));
        portal.choose(u"contrast"_s, 1U);
        Q_EMIT portal.SettingChanged(u"another"_s, accentKey, QDBusVariant(0U));
        spinUntil([&] { return !changed.isEmpty(); });
        QVERIFY2(style.isDark(), "only the portal counts");
        portal.choose(schemeKey, 2U);
        spinUntil([&] { return !style.isDark(); });
        QCOMPARE(style.accent().rgb(), QColor(Qt::red).rgb());
        QCOMPARE(changed.size(), 2);
    }

    /// Needs a second program: in this one the stand-in portal registers the signals' types with
    /// Qt.
    void anotherProgramFollows()
    {
        SettingsPortal portal({{schemeKey, 1U}});
        QProcess program;
        program.start(QCoreApplication::applicationFilePath(),
                      {u"tst_desktopcolours"_s, u"--follow"_s});
        spinUntil([&] { return program.readLine() == "dark\n"; });
        portal.choose(schemeKey, 2U);
        spinUntil([&] { return program.readLine() == "light\n"; });
        program.kill();
        QVERIFY(program.waitForFinished());
    }

    void animationsAreLeftOutOnRequest()
    {
        qputenv("XDG_CURRENT_DESKTOP", "GNOME");
        for (const bool animated : {false, true}) {
            SettingsPortal portal({{animationsKey, animated}});
            const Style style;
            QCOMPARE(style.isStill(), !animated);
            portal.choose(animationsKey, !animated);
            spinUntil([&] { return style.isStill() == animated; });
        }
    }
};

/// Prints the style at once and after each change.
static int printStyle(int argc, char *argv[])
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QGuiApplication application(argc, argv);
    const SystemStyle style;
    QObject::connect(&style, &SystemStyle::changed, [&style] {
        std::puts(style.isDark() ? "dark" : "light");
        std::fflush(stdout);
    });
    return QGuiApplication::exec();
}

int main(int argc, char *argv[])
{
    if (argc > 1 && argv[argc - 1] == QByteArray("--follow")) {
        return printStyle(argc, argv);
    }
    // Qt reads a desktop's settings on X11 only.
    moveToVirtualDisplay(ON_VIRTUAL_DISPLAY, argc, argv);
    const QTemporaryDir settings;
    makeDesktop(settings);
    // Qt keeps the address of a program's first bus.
    const TestBus bus;
    const QGuiApplication application(argc, argv);
    TestDesktopColours test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_desktopcolours.moc"
