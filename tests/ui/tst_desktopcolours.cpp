// The colours of a desktop that writes them into a file, as Qt reads that file: no palette of ours.

#include "ui/SystemStyle.h"

#include <QFile>
#include <QGuiApplication>
#include <QTemporaryDir>
#include <QtTest>

#include <stdexcept>
#include <unistd.h>
#include <vector>

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

} // namespace

class TestDesktopColours : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void areDarkWhereTheDesktopIs() { QVERIFY(SystemStyle::isDark()); }

    void haveTheDesktopsAccent() { QCOMPARE(SystemStyle::accent(), QColor(145, 65, 172)); }
};

int main(int argc, char *argv[])
{
    // Only there Qt asks which desktop it is.
    if (qgetenv("QT_QPA_PLATFORM") != "xcb") {
        std::vector<char *> again{const_cast<char *>(ON_VIRTUAL_DISPLAY)};
        again.insert(again.end(), argv, argv + argc + 1);
        execv(ON_VIRTUAL_DISPLAY, again.data());
        return 1;
    }
    const QTemporaryDir settings;
    makeDesktop(settings);
    const QGuiApplication application(argc, argv);
    TestDesktopColours test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_desktopcolours.moc"
