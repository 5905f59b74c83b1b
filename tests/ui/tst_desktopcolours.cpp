// The colours of a desktop, as Qt finds them in its settings or as its portal tells them.

#include "BusServices.h"
#include "VirtualDisplay.h"

#include "support/Await.h"
#include "ui/SystemStyle.h"

#include <QDBusArgument>
#include <QDBusContext>
#include <QDBusError>
#include <QDBusMetaType>
#include <QDBusVariant>
#include <QFile>
#include <QGuiApplication>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

#include <stdexcept>

using namespace brindle;

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

/// The desktop's portal, with what the player has chosen.
class SettingsPortal : public QObject, protected QDBusContext
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.portal.Settings")

public:
    SettingsPortal()
        : bus_(QDBusConnection::connectToBus(QDBusConnection::SessionBus, QStringLiteral("portal")))
    {
        if (!bus_.registerObject(QStringLiteral("/org/freedesktop/portal/desktop"), this,
                                 QDBusConnection::ExportAllSlots |
                                     QDBusConnection::ExportAllSignals) ||
            !bus_.registerService(QStringLiteral("org.freedesktop.portal.Desktop"))) {
            throw std::runtime_error("no portal to be had");
        }
    }
    ~SettingsPortal() override { QDBusConnection::disconnectFromBus(QStringLiteral("portal")); }

    void choose(const QString &key, const QVariant &value)
    {
        values[key] = value;
        Q_EMIT SettingChanged(appearance, key, QDBusVariant(value));
    }

    QVariantMap values;

public Q_SLOTS:
    QDBusVariant ReadOne(const QString &group, const QString &key)
    {
        if (group != appearance || !values.contains(key)) {
            sendErrorReply(QStringLiteral("org.freedesktop.portal.Error.NotFound"));
        }
        return QDBusVariant(values.value(key, 0));
    }

Q_SIGNALS:
    void SettingChanged(const QString &group, const QString &key, const QDBusVariant &value);

private:
    QDBusConnection bus_;
};

} // namespace

Q_DECLARE_METATYPE(Shares)

class TestDesktopColours : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { qDBusRegisterMetaType<Shares>(); }

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
        SettingsPortal portal;
        portal.values = {{schemeKey, scheme}, {accentKey, accent}};
        const SystemStyle style;
        QSignalSpy changed(&style, &SystemStyle::changed);
        spinUntil([&] { return changed.size() == 2; });
        QCOMPARE(style.isDark(), dark);
        QCOMPARE(style.accent().rgb(), expected.rgb());
    }

    void aChangeIsFollowed()
    {
        SettingsPortal portal;
        portal.values = {{schemeKey, 1U}};
        const SystemStyle style;
        QSignalSpy changed(&style, &SystemStyle::changed);
        spinUntil([&] { return changed.size() == 1; });
        QCOMPARE(style.accent(), purple);
        portal.choose(accentKey, QVariant::fromValue(Shares{1, 0, 0}));
        portal.choose(QStringLiteral("contrast"), 1U);
        Q_EMIT portal.SettingChanged(QStringLiteral("another"), accentKey, QDBusVariant(0U));
        portal.choose(schemeKey, 2U);
        spinUntil([&] { return !style.isDark(); });
        QCOMPARE(style.accent().rgb(), QColor(Qt::red).rgb());
        QCOMPARE(changed.size(), 3);
    }
};

int main(int argc, char *argv[])
{
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
