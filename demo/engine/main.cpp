// A stand-in for the engine, small enough to be packed and unpacked in a moment. It speaks the
// engine's command line: the headless import, and the game in a window where there is a display.
//
// A file "sample-engine.ini" in the project directs it, with these keys:
//   importSeconds    how long the import takes (1)
//   windowSeconds    how long a game runs before its window is shown (0)
//   playSeconds      when a game ends by itself; never, if negative (-1)
//   playExit         its exit code then (0)
//   printText        a line on standard error at the start
//   printParseError  prints the errors of a broken script

#include <QCryptographicHash>
#include <QDir>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QGuiApplication>
#include <QPainter>
#include <QRasterWindow>
#include <QRegularExpression>
#include <QSettings>
#include <QThread>
#include <QTimer>

#include <cmath>
#include <cstdio>

using namespace std::chrono_literals;

namespace {

struct CommandLine
{
    bool import = false;
    bool fullscreen = false;
    QString project;
    QString resolution;
    bool isWrong = false;

    explicit CommandLine(const QStringList &arguments)
    {
        for (qsizetype i = 1; i < arguments.size(); ++i) {
            const QString &argument = arguments.at(i);
            if (argument == u"--import") {
                import = true;
            } else if (argument == u"--fullscreen") {
                fullscreen = true;
            } else if (argument == u"--path") {
                project = arguments.value(++i);
            } else if (argument == u"--resolution") {
                resolution = arguments.value(++i);
            } else if (argument != u"--headless" && argument != u"--quit" &&
                       argument != u"--windowed") {
                isWrong = true;
            }
        }
    }
};

void print(const QString &line)
{
    std::printf("%s\n", qUtf8Printable(line));
    std::fflush(stdout);
}

void printError(const QString &line)
{
    std::fprintf(stderr, "%s\n", qUtf8Printable(line));
}

// Both as a 4.6.3 build prints them on Linux, into pipes as well.
void printProgress(int percent, const QString &task, const QString &text)
{
    print(QStringLiteral("[%1% ] \x1b[90m\x1b[1m%2\x1b[22m | %3\x1b[39m\x1b[0m")
              .arg(percent, 4)
              .arg(task, text));
}

void printDone(const QString &task)
{
    print(QStringLiteral("\x1b[92m[ DONE ]\x1b[39m \x1b[1m%1\x1b[22m\n\x1b[0m").arg(task));
}

void write(const QDir &project, const QString &path, const QString &text)
{
    QFile file(project.filePath(path));
    if (!file.open(QIODevice::WriteOnly) || file.write(text.toUtf8()) < 0) {
        printError(QStringLiteral("ERROR: Cannot save file '%1'.").arg(path));
    }
}

/// Writes what the engine leaves in a project: ".godot/", an ".import" file beside each picture and
/// a ".uid" file beside each script.
void import(const QDir &project, double seconds)
{
    const QString scan = QStringLiteral("first_scan_filesystem");
    const QString task = QStringLiteral("reimport");
    printProgress(0, scan, QStringLiteral("Started Project initialization (5 steps)"));
    QStringList files;
    QDirIterator entries(project.path(), QDir::Files, QDirIterator::Subdirectories);
    while (entries.hasNext()) {
        const QString path = project.relativeFilePath(entries.next());
        if (!path.startsWith(u'.') && !path.contains(u"/.")) {
            files.append(path);
        }
    }
    files.sort();
    printDone(scan);

    project.mkpath(QStringLiteral(".godot/imported"));
    write(project, QStringLiteral(".godot/.gdignore"), {});
    printProgress(0, task,
                  QStringLiteral("Started (Re)Importing Assets (%1 steps)").arg(files.size()));
    const qsizetype count = std::max<qsizetype>(1, files.size());
    for (qsizetype i = 0; i < files.size(); ++i) {
        const QString &path = files.at(i);
        const QString id = QString::fromLatin1(
            QCryptographicHash::hash(path.toUtf8(), QCryptographicHash::Md5).toHex());
        printProgress(static_cast<int>(i * 100 / count), task, path);
        if (path.endsWith(u".svg") || path.endsWith(u".png")) {
            const QString imported = QStringLiteral(".godot/imported/%1.ctex").arg(id);
            write(project, imported, QStringLiteral("GST2\n"));
            write(project, path + QStringLiteral(".import"),
                  QStringLiteral("[remap]\n\npath=\"res://%1\"\n").arg(imported));
        } else if (path.endsWith(u".gd")) {
            write(project, path + QStringLiteral(".uid"),
                  QStringLiteral("uid://%1\n").arg(id.left(12)));
        }
        QThread::usleep(static_cast<unsigned long>(seconds * 1e6 / static_cast<double>(count)));
    }
    printDone(task);
}

/// The game's window: a valley at dusk with tanks on their rounds.
class GameWindow : public QRasterWindow
{
public:
    explicit GameWindow(const QString &name)
    {
        setTitle(name + QStringLiteral(" (DEBUG)"));
        resize(1152, 648);
        running_.start();
        frames_.callOnTimeout(this, [this] { update(); });
        frames_.start(33ms);
    }

protected:
    void paintEvent(QPaintEvent * /*event*/) override
    {
        const double seconds = static_cast<double>(running_.elapsed()) / 1000;
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(Qt::NoPen);
        painter.scale(width() / 1152.0, height() / 648.0);
        QLinearGradient sky(0, 0, 0, 420);
        sky.setColorAt(0, QColor(0x1b, 0x24, 0x4d));
        sky.setColorAt(0.6, QColor(0x8c, 0x3a, 0x5c));
        sky.setColorAt(1, QColor(0xf2, 0x9a, 0x4a));
        painter.fillRect(0, 0, 1152, 648, sky);
        painter.setBrush(QColor(0xff, 0xd9, 0x8f));
        painter.drawEllipse(QPointF(800, 330), 70, 70);
        for (int hill = 0; hill < 4; ++hill) {
            QPolygonF ridge{{1152, 648}, {0, 648}};
            for (int x = 0; x <= 1152; x += 8) {
                ridge << QPointF(x, ground(hill, x));
            }
            painter.setBrush(QColor::fromHsv(150 + 14 * hill, 110, 110 - 22 * hill));
            painter.drawPolygon(ridge);
            for (int tank = 0; tank < 3; ++tank) {
                const double at = std::fmod(seconds * (30 + 12 * hill) + 430.0 * tank, 1260) - 60;
                paintTank(painter, hill % 2 == 0 ? at : 1152 - at, hill);
            }
        }
    }

private:
    static double ground(int hill, double x)
    {
        return 380 + 75 * hill + 26 * std::sin(x * 0.006 + hill * 1.7) +
               9 * std::sin(x * 0.021 + hill);
    }

    static void paintTank(QPainter &painter, double x, int hill)
    {
        const bool own = hill % 2 == 0;
        const QColor colour = own ? QColor(0x4a, 0x90, 0xe2) : QColor(0xd6, 0x54, 0x3c);
        painter.save();
        painter.translate(x, ground(hill, x) - 6);
        painter.rotate(std::atan(ground(hill, x + 1) - ground(hill, x)) * 57.3);
        painter.scale((own ? 1 : -1) * (0.6 + 0.2 * hill), 0.6 + 0.2 * hill);
        painter.setBrush(QColor(0x14, 0x18, 0x22));
        painter.drawRoundedRect(QRectF(-24, -4, 48, 14), 7, 7);
        painter.setBrush(colour);
        painter.drawRoundedRect(QRectF(-20, -14, 40, 13), 4, 4);
        painter.drawRoundedRect(QRectF(-10, -24, 20, 12), 4, 4);
        painter.drawRect(QRectF(8, -20, 26, 4));
        painter.restore();
    }

    QElapsedTimer running_;
    QTimer frames_;
};

/// Qt ends the process when the display can't be opened. So does the engine, in its own words.
void onMessage(QtMsgType type, const QMessageLogContext & /*context*/, const QString &text)
{
    printError(type == QtFatalMsg ? QStringLiteral("ERROR: X11 Display is not available") : text);
    if (type == QtFatalMsg) {
        std::_Exit(1);
    }
}

/// Runs until the window is closed, the time is over or a signal comes. Returns the exit code.
int play(int &argc, char **argv, const CommandLine &line, const QSettings &directions)
{
    const bool hasDisplay = QSysInfo::kernelType() == u"darwin" ||
                            qEnvironmentVariableIsSet("DISPLAY") ||
                            qEnvironmentVariableIsSet("WAYLAND_DISPLAY");
    if (!hasDisplay) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    qInstallMessageHandler(onMessage);
    const QGuiApplication application(argc, argv);
    const QSettings project(line.project + QStringLiteral("/project.godot"), QSettings::IniFormat);
    GameWindow window(project.value(QStringLiteral("application/config/name")).toString());
    const QStringList sides = line.resolution.split(u'x');
    if (sides.size() == 2) {
        window.resize(sides.first().toInt(), sides.last().toInt());
    }
    const auto after = [&](const char *key, double otherwise) {
        return std::chrono::milliseconds(static_cast<qint64>(
            directions.value(QString::fromLatin1(key), otherwise).toDouble() * 1000));
    };
    QTimer::singleShot(after("windowSeconds", 0), &window,
                       [&] { line.fullscreen ? window.showFullScreen() : window.show(); });
    print(QStringLiteral("The game is running."));
    if (const auto time = after("playSeconds", -1); time.count() >= 0) {
        QTimer::singleShot(time, Qt::PreciseTimer, &window, [&directions] {
            QCoreApplication::exit(directions.value(QStringLiteral("playExit")).toInt());
        });
    }
    return QGuiApplication::exec();
}

} // namespace

int main(int argc, char *argv[])
{
    QStringList arguments;
    for (int i = 0; i < argc; ++i) {
        arguments.append(QFile::decodeName(argv[i]));
    }
    // Official builds bear their version in their name, apart from those in a bundle.
    static const QRegularExpression named(QStringLiteral("Godot_v([0-9.]+)-stable"));
    const auto match = named.match(arguments.first().section(u'/', -1));
    print(QStringLiteral("Godot Engine v%1.stable.sample - https://godotengine.org")
              .arg(match.hasMatch() ? match.captured(1) : QStringLiteral("4")));
    print(QStringLiteral("Arguments: ") + arguments.mid(1).join(u' '));
    const CommandLine line(arguments);
    if (line.isWrong || !QFile::exists(line.project + QStringLiteral("/project.godot"))) {
        printError(line.isWrong
                       ? QStringLiteral("ERROR: Unknown argument.")
                       : QStringLiteral("Error: Couldn't load project data at path \"%1\".")
                             .arg(line.project));
        return 1;
    }
    const QSettings directions(line.project + QStringLiteral("/sample-engine.ini"),
                               QSettings::IniFormat);
    if (const QString text = directions.value(QStringLiteral("printText")).toString();
        !text.isEmpty()) {
        printError(text);
    }
    if (directions.value(QStringLiteral("printParseError")).toBool()) {
        printError(QStringLiteral("SCRIPT ERROR: Parse Error: Unexpected \"}\" in class body.\n"
                                  "          at: GDScript::reload (res://main.gd:2)"));
    }
    if (line.import) {
        import(QDir(QDir(line.project).absolutePath()),
               directions.value(QStringLiteral("importSeconds"), 1.0).toDouble());
        return 0;
    }
    return play(argc, argv, line, directions);
}
