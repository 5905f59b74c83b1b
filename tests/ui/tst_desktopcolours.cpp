// The colours of a desktop, as Qt finds them in its settings or as its portal tells them.

#include "BusServices.h"
#include "VirtualDisplay.h"

#include "support/Await.h"
#include "ui/SystemStyle.h"

#include <QDBusArgument>
#include <QDBusContext>
#include <QDBusMetaType>
#include <QDBusVariant>
#include <QFile>
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

/// As KDE has it: dark, and marked with purple.
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

/// The desktop of an application that is made after this.
void makeDesktop(const QTemporaryDir &settings)
{
    QFile file(settings.filePath(QStringLiteral("kdeglobals")));
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
const auto appearance = QStringLiteral("org.freedesktop.appearance");
const auto schemeKey = QStringLiteral("color-scheme");
const auto accentKey = QStringLiteral("accent-color");

/// As the portal tells it: each from 0 to 1, or none where one is beyond.
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

using Groups = QMap<QString, QVariantMap>;

/// Answers as xdg-desktop-portal 1.16 does, which is Debian 12's: it has no ReadOne.
class SettingsPortal : public QObject, protected QDBusContext
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.portal.Settings")
    Q_PROPERTY(uint version MEMBER version CONSTANT)

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
        Q_EMIT SettingChanged(appearance, key, QDBusVariant(value));
    }

    uint version = 1;
    const QVariantMap values;
    bool isSilent = false;

public Q_SLOTS:
    /// Wraps the value twice, like the real one.
    QDBusVariant Read(const QString &group, const QString &key)
    {
        setDelayedReply(isSilent);
        if (group != appearance || !values.contains(key)) {
            sendErrorReply(u"org.freedesktop.portal.Error.NotFound"_s,
                           u"Requested setting not found"_s);
        }
        return QDBusVariant(QVariant::fromValue(QDBusVariant(values.value(key, 0))));
    }
    /// Another desktop's backend overrides the values.
    static Groups ReadAll(const QStringList & /*groups*/)
    {
        return {{appearance, {{schemeKey, 0U}}}};
    }

Q_SIGNALS:
    void SettingChanged(const QString &group, const QString &key, const QDBusVariant &value);

private:
    QDBusConnection bus_;
};

} // namespace

Q_DECLARE_METATYPE(Shares)
Q_DECLARE_METATYPE(Groups)

class TestDesktopColours : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        qDBusRegisterMetaType<Shares>();
        qDBusRegisterMetaType<Groups>();
    }

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
        const QVariant nonsense(QStringLiteral("green"));
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
        SystemStyle style;
        style.waitForPortal();
        QCOMPARE(style.isDark(), dark);
        QCOMPARE(style.accent().rgb(), expected.rgb());
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
        SystemStyle style;
        style.waitForPortal();
        QCOMPARE(style.accent(), purple);
        QSignalSpy changed(&style, &SystemStyle::changed);
        portal.choose(accentKey, QVariant::fromValue(Shares{1, 0, 0}));
        portal.choose(u"contrast"_s, 1U);
        Q_EMIT portal.SettingChanged(u"another"_s, accentKey, QDBusVariant(0U));
        portal.choose(schemeKey, 2U);
        spinUntil([&] { return !style.isDark(); });
        QCOMPARE(style.accent().rgb(), QColor(Qt::red).rgb());
        QCOMPARE(changed.size(), 2);
    }

    /// As this program, unlike the launcher, made Qt know the types of the portal's signals.
    void aProgramOfItsOwnFollows()
    {
        SettingsPortal portal({{schemeKey, 1U}});
        QProcess program;
        program.start(QCoreApplication::applicationFilePath(), {u"tst_desktopcolours"_s, u"--follow"_s});
        spinUntil([&] { return program.readLine() == "dark\n"; });
        portal.choose(schemeKey, 2U);
        spinUntil([&] { return program.readLine() == "light\n"; });
        program.kill();
        QVERIFY(program.waitForFinished());
    }

    void onlyThePortalIsHeard()
    {
        SettingsPortal portal({{schemeKey, 1U}});
        SystemStyle style;
        style.waitForPortal();
        QSignalSpy changed(&style, &SystemStyle::changed);
        auto stranger = QDBusConnection::connectToBus(QDBusConnection::SessionBus, u"stranger"_s);
        auto signal = QDBusMessage::createSignal(portalPath, u"org.freedesktop.portal.Settings"_s,
                                                 u"SettingChanged"_s);
        signal << appearance << schemeKey << QVariant::fromValue(QDBusVariant(2U));
        stranger.send(signal);
        // The bus keeps the order: it takes the stranger's signal before the portal's.
        stranger.call(QDBusMessage::createMethodCall(u"org.freedesktop.DBus"_s, u"/"_s,
                                                     u"org.freedesktop.DBus"_s, u"GetId"_s));
        portal.choose(accentKey, QVariant::fromValue(Shares{1, 0, 0}));
        spinUntil([&] { return !changed.isEmpty(); });
        QDBusConnection::disconnectFromBus(u"stranger"_s);
        QVERIFY(style.isDark());
        QCOMPARE(changed.size(), 1);
    }
};

/// Prints the style, now and after each change.
static int printStyle(int argc, char *argv[])
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QGuiApplication application(argc, argv);
    const SystemStyle style;
    const auto print = [&style] {
        std::puts(style.isDark() ? "dark" : "light");
        std::fflush(stdout);
    };
    QObject::connect(&style, &SystemStyle::changed, print);
    return QGuiApplication::exec();
}

int main(int argc, char *argv[])
{
    if (argc > 1 && argv[argc - 1] == QByteArray("--follow")) {
        return printStyle(argc, argv);
    }
    // Only there Qt asks which desktop it is.
    moveToVirtualDisplay(ON_VIRTUAL_DISPLAY, argc, argv);
    const QTemporaryDir settings;
    makeDesktop(settings);
    // A program remembers the bus that it has known first.
    const TestBus bus;
    const QGuiApplication application(argc, argv);
    TestDesktopColours test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_desktopcolours.moc"
