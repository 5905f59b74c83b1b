#include "Screen.h"

#include "support/Await.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QSize>
#include <QtEndian>
#include <QtTest>

#include <csignal>
#include <stdexcept>
#include <sys/prctl.h>

namespace brindle {

namespace {

void start(QProcess &process, const QString &program, const QStringList &arguments)
{
    // Whatever happens to the test.
    process.setChildProcessModifier([] { prctl(PR_SET_PDEATHSIG, SIGKILL); });
    process.start(program, arguments);
    if (!process.waitForStarted()) {
        throw std::runtime_error("can't start " + program.toStdString());
    }
}

} // namespace

Screen::Screen(const QSize &size, int panel)
{
    server_.setStandardErrorFile(QProcess::nullDevice());
    start(server_, QStringLiteral("Xvfb"),
          {QStringLiteral("-displayfd"), QStringLiteral("1"), QStringLiteral("-screen"),
           QStringLiteral("0"), QStringLiteral("%1x%2x24").arg(size.width()).arg(size.height()),
           QStringLiteral("-nolisten"), QStringLiteral("tcp"), QStringLiteral("-nolisten"),
           QStringLiteral("unix"), QStringLiteral("-nolock"), QStringLiteral("-noreset"),
           QStringLiteral("-fbdir"), folder_.path()});
    while (!server_.canReadLine()) {
        if (!server_.waitForReadyRead()) {
            throw std::runtime_error("the X server does not start");
        }
    }
    display_ = QLatin1Char(':') + QString::fromLatin1(server_.readLine().trimmed());
    manager_.setProcessEnvironment(environment());
    manager_.setStandardOutputFile(QProcess::nullDevice());
    manager_.setStandardErrorFile(QProcess::nullDevice());
    const QString configuration = folder_.filePath(QStringLiteral("rc.xml"));
    QFile file(configuration);
    if (!file.open(QIODevice::WriteOnly)) {
        throw std::runtime_error("can't write " + configuration.toStdString());
    }
    file.write("<openbox_config xmlns=\"http://openbox.org/3.4/rc\"><margins><bottom>" +
               QByteArray::number(panel) + "</bottom></margins></openbox_config>");
    file.close();
    start(manager_, QStringLiteral("openbox"), {QStringLiteral("--config-file"), configuration});
    // The manager tells in properties of the root window that it is there; last, what room it has.
    wait("the window manager", [this] {
        return run(QStringLiteral("xprop"),
                   {QStringLiteral("-root"), QStringLiteral("_NET_WORKAREA")})
            .contains('=');
    });
}

Screen::~Screen()
{
    for (QProcess *const process : {&clipboardOwner_, &manager_, &server_}) {
        process->kill();
        process->waitForFinished();
    }
}

QProcessEnvironment Screen::environment() const
{
    // Nothing of the developer's own desktop: its look, its proxies, its scaling.
    const auto own = QProcessEnvironment::systemEnvironment();
    QProcessEnvironment environment;
    for (const char *name : {"PATH", "LD_LIBRARY_PATH", "TMPDIR", "ASAN_OPTIONS", "LSAN_OPTIONS",
                             "UBSAN_OPTIONS", "LLVM_PROFILE_FILE"}) {
        if (own.contains(QLatin1String(name))) {
            environment.insert(QLatin1String(name), own.value(QLatin1String(name)));
        }
    }
    environment.insert(QStringLiteral("LANG"), QStringLiteral("C.UTF-8"));
    environment.insert(QStringLiteral("DISPLAY"), display_);
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("xcb"));
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
    const QByteArray found =
        run(QStringLiteral("xdotool"),
            {QStringLiteral("search"), QStringLiteral("--onlyvisible"), QStringLiteral("--name"),
             u'^' + QRegularExpression::escape(title) + u'$'});
    return QString::fromLatin1(found).split(u'\n', Qt::SkipEmptyParts);
}

QString Screen::focusedWindow() const
{
    return QString::fromLatin1(run(QStringLiteral("xdotool"), {QStringLiteral("getwindowfocus")}));
}

QString Screen::focusedTitle() const
{
    return QString::fromUtf8(run(QStringLiteral("xdotool"), {QStringLiteral("getwindowfocus"),
                                                             QStringLiteral("getwindowname")}));
}

void Screen::activate(const QString &title) const
{
    wait("the keyboard for the window " + title.toUtf8(), [&] {
        const QStringList found = windows(title);
        if (found.isEmpty()) {
            return false;
        }
        run(QStringLiteral("xdotool"), {QStringLiteral("windowactivate"), found.last()});
        return focusedTitle() == title;
    });
}

void Screen::press(const QStringList &keys) const
{
    run(QStringLiteral("xdotool"),
        QStringList{QStringLiteral("key"), QStringLiteral("--delay"), QStringLiteral("100")} +
            keys);
}

void Screen::doubleClick(const QPoint &place) const
{
    run(QStringLiteral("xdotool"),
        {QStringLiteral("mousemove"), QString::number(place.x()), QString::number(place.y()),
         QStringLiteral("click"), QStringLiteral("--repeat"), QStringLiteral("2"),
         QStringLiteral("--delay"), QStringLiteral("100"), QStringLiteral("1"),
         // What lies under the pointer looks different.
         QStringLiteral("mousemove"), QStringLiteral("0"), QStringLiteral("0")});
}

void Screen::closeWindow(const QString &title) const
{
    activate(title);
    press({QStringLiteral("alt+F4")});
}

QSize Screen::size(const QString &window) const
{
    const auto lines = run(QStringLiteral("xdotool"),
                           {QStringLiteral("getwindowgeometry"), QStringLiteral("--shell"), window})
                           .split('\n');
    QSize result;
    for (const QByteArray &line : lines) {
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
    run(QStringLiteral("xdotool"),
        {QStringLiteral("windowsize"), QStringLiteral("--sync"), window,
         QString::number(wanted.width()), QString::number(wanted.height())});
    return size(window);
}

QString Screen::clipboard() const
{
    return QString::fromUtf8(
        run(QStringLiteral("xclip"),
            {QStringLiteral("-selection"), QStringLiteral("clipboard"), QStringLiteral("-out")}));
}

void Screen::setClipboard(const QString &text)
{
    clipboardOwner_.kill();
    clipboardOwner_.waitForFinished();
    clipboardOwner_.setProcessEnvironment(environment());
    start(clipboardOwner_, QStringLiteral("xclip"),
          {QStringLiteral("-selection"), QStringLiteral("clipboard"), QStringLiteral("-quiet"),
           QStringLiteral("-in")});
    clipboardOwner_.write(text.toUtf8());
    clipboardOwner_.closeWriteChannel();
    wait("the clipboard", [&] { return clipboard() == text; });
}

void Screen::wait(const QByteArray &what, const std::function<bool()> &done) const
{
    try {
        spinUntil(done);
    } catch (const std::exception &error) {
        throw std::runtime_error(
            (what + ": " + error.what() + "\n" + keepEvidence()).toStdString());
    }
}

QByteArray Screen::keepEvidence() const
{
    const QString name =
        QStringLiteral(EVIDENCE_FOLDER "/%1.").arg(QLatin1String(QTest::currentTestFunction()));
    QDir().mkpath(QStringLiteral(EVIDENCE_FOLDER));
    picture().save(name + QStringLiteral("png"));
    QFile text(name + QStringLiteral("txt"));
    if (text.open(QIODevice::WriteOnly)) {
        text.write("The keyboard is with: " + focusedTitle().toUtf8() + "\n");
        if (witness_) {
            text.write(witness_());
        }
    }
    return "what was seen is in " + name.toUtf8() + "png and txt";
}

QImage Screen::picture() const
{
    // The X Window Dump format, XWDFile.h: a head of big-endian words, the colours, the pixels.
    enum Word { headSize = 0, width = 4, height = 5, lineBytes = 12, colours = 19 };
    constexpr qsizetype colourBytes = 12;
    QFile file(folder_.filePath(QStringLiteral("Xvfb_screen0")));
    if (!file.open(QIODevice::ReadOnly)) {
        throw std::runtime_error("the X server shows no picture");
    }
    const QByteArray dump = file.readAll();
    const auto word = [&dump](Word index) {
        return qFromBigEndian<quint32>(dump.constData() + index * 4);
    };
    const qsizetype pixels = word(headSize) + word(colours) * colourBytes;
    return QImage(reinterpret_cast<const uchar *>(dump.constData()) + pixels,
                  static_cast<int>(word(width)), static_cast<int>(word(height)), word(lineBytes),
                  QImage::Format_RGB32)
        .copy();
}

} // namespace brindle
