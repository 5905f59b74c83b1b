#include "support/Screen.h"

#include "support/Await.h"
#include "support/TestFiles.h"

#include <QDeadlineTimer>
#include <QRegularExpression>
#include <QSize>
#include <QtEndian>

#include <csignal>
#include <stdexcept>
#include <sys/prctl.h>

namespace brindle {

using namespace Qt::StringLiterals;

namespace {

const auto xdotool = u"xdotool"_s;

void start(QProcess &process, const QString &program, const QStringList &arguments)
{
    // If the test crashes, the program dies with it.
    process.setChildProcessModifier([] { prctl(PR_SET_PDEATHSIG, SIGKILL); });
    process.start(program, arguments);
    if (!process.waitForStarted()) {
        throw std::runtime_error("can't start " + program.toStdString());
    }
}

} // namespace

Screen::Screen(const QSize &size, int panel, Manager manager)
{
    startServer(size);
    if (manager == Manager::openbox) {
        startManager(panel);
    }
}

Screen::~Screen()
{
    for (QProcess *const process : {&manager_, &server_}) {
        process->kill();
        process->waitForFinished();
    }
}

void Screen::startServer(const QSize &size)
{
    server_.setStandardErrorFile(QProcess::nullDevice());
    start(
        server_, u"Xvfb"_s,
        u"-displayfd 1 -screen 0 %1x%2x24 -nolisten tcp -nolisten unix -nolock -noreset -fbdir %3"_s
            .arg(size.width())
            .arg(size.height())
            .arg(folder_.path())
            .split(u' '));
    while (!server_.canReadLine()) {
        if (!server_.waitForReadyRead()) {
            throw std::runtime_error("the X server does not start");
        }
    }
    display_ = u':' + QString::fromLatin1(server_.readLine().trimmed());

    // Format of an X Window Dump (XWDFile.h): a header of big-endian words, the colours, the
    // pixels.
    enum Word { headSize = 0, lineBytes = 12, colours = 19 };
    constexpr qsizetype colourBytes = 12;
    memory_.setFileName(folder_.filePath(u"Xvfb_screen0"_s));
    const uchar *const dump =
        memory_.open(QIODevice::ReadOnly) ? memory_.map(0, memory_.size()) : nullptr;
    if (!dump) {
        throw std::runtime_error("the X server shows no picture");
    }
    const auto word = [&](Word index) { return qFromBigEndian<quint32>(dump + 4 * index); };
    picture_ = QImage(dump + word(headSize) + word(colours) * colourBytes, size.width(),
                      size.height(), word(lineBytes), QImage::Format_RGB32);
}

void Screen::startManager(int panel)
{
    const QString configuration = folder_.filePath(u"rc.xml"_s);
    writeFile(configuration,
              "<openbox_config xmlns=\"http://openbox.org/3.4/rc\"><margins><bottom>" +
                  QByteArray::number(panel) + "</bottom></margins></openbox_config>");
    manager_.setProcessEnvironment(environment());
    manager_.setStandardOutputFile(QProcess::nullDevice());
    manager_.setStandardErrorFile(QProcess::nullDevice());
    start(manager_, u"openbox"_s, {u"--config-file"_s, configuration});
    // Window managers set this property last in their start.
    wait("the window manager",
         [this] { return run(u"xprop"_s, {u"-root"_s, u"_NET_WORKAREA"_s}).contains('='); });
}

QProcessEnvironment Screen::environment() const
{
    const auto own = QProcessEnvironment::systemEnvironment();
    QProcessEnvironment environment;
    for (const QString &name : {u"PATH"_s, u"LD_LIBRARY_PATH"_s, u"TMPDIR"_s}) {
        if (own.contains(name)) {
            environment.insert(name, own.value(name));
        }
    }
    environment.insert(u"LANG"_s, u"C.UTF-8"_s);
    environment.insert(u"DISPLAY"_s, display_);
    environment.insert(u"QT_QPA_PLATFORM"_s, u"xcb"_s);
    return environment;
}

QByteArray Screen::run(const QString &program, const QStringList &arguments) const
{
    QProcess process;
    process.setProcessEnvironment(environment());
    process.setStandardErrorFile(QProcess::nullDevice());
    process.start(program, arguments);
    process.waitForFinished();
    return process.readAllStandardOutput().trimmed();
}

QStringList Screen::windows(const QString &title) const
{
    const QByteArray found = run(xdotool, {u"search"_s, u"--onlyvisible"_s, u"--name"_s,
                                           u'^' + QRegularExpression::escape(title) + u'$'});
    return QString::fromLatin1(found).split(u'\n', Qt::SkipEmptyParts);
}

QString Screen::focusedTitle() const
{
    return QString::fromUtf8(run(xdotool, {u"getwindowfocus"_s, u"getwindowname"_s}));
}

void Screen::activate(const QString &title) const
{
    wait("the keyboard for the window " + title.toUtf8(), [&] {
        const QStringList found = windows(title);
        if (found.isEmpty()) {
            return false;
        }
        run(xdotool, {u"windowactivate"_s, found.last()});
        return focusedTitle() == title;
    });
}

void Screen::press(const QStringList &keys) const
{
    run(xdotool, QStringList{u"key"_s, u"--delay"_s, u"100"_s} + keys);
}

void Screen::closeWindow(const QString &title) const
{
    activate(title);
    press({u"alt+F4"_s});
}

QSize Screen::size(const QString &window) const
{
    QSize result;
    for (const QByteArray &line :
         run(xdotool, {u"getwindowgeometry"_s, u"--shell"_s, window}).split('\n')) {
        if (line.startsWith("WIDTH=")) {
            result.setWidth(line.mid(6).toInt());
        } else if (line.startsWith("HEIGHT=")) {
            result.setHeight(line.mid(7).toInt());
        }
    }
    return result;
}

QSize Screen::resize(const QString &window, const QSize &wanted) const
{
    run(xdotool, {u"windowsize"_s, u"--sync"_s, window, QString::number(wanted.width()),
                  QString::number(wanted.height())});
    return size(window);
}

QString Screen::clipboard() const
{
    return QString::fromUtf8(run(u"xclip"_s, {u"-selection"_s, u"clipboard"_s, u"-out"_s}));
}

void Screen::wait(const QByteArray &what, const std::function<bool()> &done)
{
    QDeadlineTimer next(0);
    try {
        spinUntil([&] {
            if (!next.hasExpired()) {
                return false;
            }
            const bool isDone = done();
            next.setRemainingTime(20);
            return isDone;
        });
    } catch (const std::runtime_error &error) {
        throw std::runtime_error(what.toStdString() + ": " + error.what());
    }
}

} // namespace brindle
