// A small stand-in for the engine. Has the engine's command line, for the headless import and for
// the game. Without a display the game runs unseen.
//
// A file "sample-engine.ini" in the project directs the stand-in, with these keys: importSeconds
// how long the import takes (1) windowSeconds how long a game runs before its window is shown (0)
// playSeconds when a game ends by itself; never, if negative (-1) playExit its exit code then (0)
// printText a text on standard error at the start

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

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

void print(const QString &line)
{
    std::printf("%s\n", qUtf8Printable(line));
    std::fflush(stdout);
}

void printError(const QString &line)
{
    std::fprintf(stderr, "%s\n", qUtf8Printable(line));
}

/// Returns the argument that follows an option.
QString valueOf(const QString &option, const QStringList &arguments)
{
    const qsizetype index = arguments.indexOf(option);
    return index < 0 ? QString() : arguments.value(index + 1);
}

/// Prints progress like Godot 4.6.3 on Linux, in colour even into pipes.
void printProgress(int percent, const QString &task, const QString &text)
{
    print(
        u"[%1% ] \x1b[90m\x1b[1m%2\x1b[22m | %3\x1b[39m\x1b[0m"_s.arg(percent, 4).arg(task, text));
}

void write(const QDir &project, const QString &path, const QString &text)
{
    QFile file(project.filePath(path));
    if (!file.open(QIODevice::WriteOnly) || file.write(text.toUtf8()) < 0) {
        printError(u"ERROR: Cannot save file '%1'."_s.arg(path));
    }
}

/// Returns the name for a file's imported data. The name is the same in every import.
QString idOf(const QString &path)
{
    const auto hash = QCryptographicHash::hash(path.toUtf8(), QCryptographicHash::Md5);
    return QString::fromLatin1(hash.toHex());
}

/// Writes the files that the engine leaves in a project: ".godot/", an ".import" file beside each
/// picture and a ".uid" file beside each script.
void import(const QDir &project, double seconds)
{
    const auto task = u"reimport"_s;
    QStringList files;
    QDirIterator entries(project.path(), QDir::Files, QDirIterator::Subdirectories);
    while (entries.hasNext()) {
        const QString path = project.relativeFilePath(entries.next());
        if (!path.startsWith(u'.') && !path.contains(u"/.")) {
            files.append(path);
        }
    }
    files.sort();
    project.mkpath(u".godot/imported"_s);
    write(project, u".godot/.gdignore"_s, {});
    printProgress(0, task, u"Started (Re)Importing Assets (%1 steps)"_s.arg(files.size()));
    const qsizetype count = std::max<qsizetype>(1, files.size());
    for (qsizetype i = 0; i < files.size(); ++i) {
        const QString &path = files.at(i);
        printProgress(static_cast<int>(i * 100 / count), task, path);
        if (path.endsWith(u".svg") || path.endsWith(u".png")) {
            const QString imported = u".godot/imported/%1.ctex"_s.arg(idOf(path));
            write(project, imported, u"GST2\n"_s);
            write(project, path + u".import"_s, u"[remap]\n\npath=\"res://%1\"\n"_s.arg(imported));
        } else if (path.endsWith(u".gd")) {
            write(project, path + u".uid"_s, u"uid://%1\n"_s.arg(idOf(path).left(12)));
        }
        QThread::usleep(static_cast<unsigned long>(seconds * 1e6 / static_cast<double>(count)));
    }
    print(u"\x1b[92m[ DONE ]\x1b[39m \x1b[1m%1\x1b[22m\n\x1b[0m"_s.arg(task));
}

/// The game's window: shows a valley at dusk, with tanks on patrol.
class GameWindow : public QRasterWindow
{
public:
    explicit GameWindow(const QString &name)
    {
        setTitle(name + u" (DEBUG)"_s);
        resize(1152, 648);
        running_.start();
        frames_.callOnTimeout(this, [this] { update(); });
        frames_.start(33ms);
    }

protected:
    void paintEvent(QPaintEvent * /*event*/) override
    {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(Qt::NoPen);
        painter.scale(width() / 1152.0, height() / 648.0);
        QLinearGradient sky(0, 0, 0, 420);
        sky.setStops({{0, 0x1b244d}, {0.6, 0x8c3a5c}, {1, 0xf29a4a}});
        painter.fillRect(0, 0, 1152, 648, sky);
        painter.setBrush(QColor(0xffd98f));
        painter.drawEllipse(QPointF(800, 330), 70, 70);
        const double seconds = static_cast<double>(running_.elapsed()) / 1000;
        for (int hill = 0; hill < 4; ++hill) {
            QPolygonF ridge{{1152, 648}, {0, 648}};
            for (int x = 0; x <= 1152; x += 8) {
                ridge << QPointF(x, ground(hill, x));
            }
            painter.setBrush(QColor::fromHsv(150 + 14 * hill, 110, 110 - 22 * hill));
            painter.drawPolygon(ridge);
            for (int tank = 0; tank < 3; ++tank) {
                paintTank(painter, hill,
                          std::fmod(seconds * (30 + 12 * hill) + 430.0 * tank, 1260) - 60);
            }
        }
    }

private:
    static double ground(int hill, double x)
    {
        return 380 + 75 * hill + 26 * std::sin(x * 0.006 + hill * 1.7);
    }

    /// Paints a tank that has driven `way` pixels: own tanks from the left, others from the right.
    static void paintTank(QPainter &painter, int hill, double way)
    {
        const bool own = hill % 2 == 0;
        const double x = own ? way : 1152 - way;
        const double size = 0.6 + 0.2 * hill;
        painter.save();
        painter.translate(x, ground(hill, x) - 6);
        painter.scale(own ? size : -size, size);
        painter.setBrush(QColor(0x141822));
        painter.drawRoundedRect(QRectF(-24, -4, 48, 14), 7, 7);
        painter.setBrush(QColor(own ? 0x4a90e2 : 0xd6543c));
        painter.drawRoundedRect(QRectF(-20, -14, 40, 13), 4, 4);
        painter.drawRoundedRect(QRectF(-10, -24, 20, 12), 4, 4);
        painter.drawRect(QRectF(8, -20, 26, 4));
        painter.restore();
    }

    QElapsedTimer running_;
    QTimer frames_;
};

/// Prints Qt's messages. If Qt can't open the display, prints the engine's error and ends the
/// process.
void onMessage(QtMsgType type, const QMessageLogContext & /*context*/, const QString &text)
{
    printError(type == QtFatalMsg ? u"ERROR: X11 Display is not available"_s : text);
    if (type == QtFatalMsg) {
        std::_Exit(1);
    }
}

/// Runs the game until its window is closed or its time is over. Returns the exit code.
int play(int &argc, char **argv, const QStringList &arguments, const QSettings &directions)
{
    const bool hasDisplay = QSysInfo::kernelType() == u"darwin" ||
                            qEnvironmentVariableIsSet("DISPLAY") ||
                            qEnvironmentVariableIsSet("WAYLAND_DISPLAY");
    if (!hasDisplay) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    qInstallMessageHandler(onMessage);
    const QGuiApplication application(argc, argv);
    const QSettings project(valueOf(u"--path"_s, arguments) + u"/project.godot"_s,
                            QSettings::IniFormat);
    GameWindow window(project.value(u"application/config/name"_s).toString());
    const QStringList sides = valueOf(u"--resolution"_s, arguments).split(u'x');
    if (sides.size() == 2) {
        window.resize(sides.first().toInt(), sides.last().toInt());
    }
    const auto after = [&](const char *key, double otherwise) {
        return std::chrono::milliseconds(static_cast<qint64>(
            directions.value(QString::fromLatin1(key), otherwise).toDouble() * 1000));
    };
    QTimer::singleShot(after("windowSeconds", 0), &window, [&] {
        arguments.contains(u"--fullscreen"_s) ? window.showFullScreen() : window.show();
    });
    print(u"The game is running."_s);
    if (const auto time = after("playSeconds", -1); time.count() >= 0) {
        QTimer::singleShot(time, Qt::PreciseTimer, &window, [&directions] {
            QCoreApplication::exit(directions.value(u"playExit"_s).toInt());
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
    // An official build's name has its version, except in a macOS bundle.
    static const QRegularExpression named(u"Godot_v([0-9.]+)-stable"_s);
    const auto match = named.match(arguments.first().section(u'/', -1));
    print(u"Godot Engine v%1.stable.sample - https://godotengine.org"_s.arg(
        match.hasMatch() ? match.captured(1) : u"4"_s));
    print(u"Arguments: "_s + arguments.mid(1).join(u' '));
    const QString folder = valueOf(u"--path"_s, arguments);
    if (!QFile::exists(folder + u"/project.godot"_s)) {
        printError(u"Error: Couldn't load project data at path \"%1\"."_s.arg(folder));
        return 1;
    }
    const QSettings directions(folder + u"/sample-engine.ini"_s, QSettings::IniFormat);
    if (const QString text = directions.value(u"printText"_s).toString(); !text.isEmpty()) {
        printError(text);
    }
    if (arguments.contains(u"--import"_s)) {
        import(QDir(QDir(folder).absolutePath()),
               directions.value(u"importSeconds"_s, 1.0).toDouble());
        return 0;
    }
    return play(argc, argv, arguments, directions);
}
