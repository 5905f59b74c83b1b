#include "Launcher.h"

#include <QDir>
#include <QFile>

#include <algorithm>
#include <csignal>
#include <sys/prctl.h>

namespace brindle {

using namespace Qt::StringLiterals;

namespace {

// The colours of the light theme.
constexpr QRgb accent = 0xff1663d9;
constexpr QRgb sheetColour = 0xfffbfbfc;
constexpr QRgb statusColours[] = {0xff8e8e93, 0xffff9500, 0xffff3b30, 0xff28b14c};

/// Returns the first stretch of `colour` in a row that is at least `width` long, or nothing.
QRect firstRun(const QImage &picture, int row, QRgb colour, int width)
{
    const auto *const begin = reinterpret_cast<const QRgb *>(picture.constScanLine(row));
    const auto *const end = begin + picture.width();
    const auto fits = [](QRgb pixel, QRgb wanted) { return (pixel | 0xff000000) == wanted; };
    const auto *const first = std::search_n(begin, end, width, colour, fits);
    const auto *const last =
        std::find_if(first, end, [&](QRgb pixel) { return !fits(pixel, colour); });
    return {static_cast<int>(first - begin), row, static_cast<int>(last - first), 1};
}

/// Returns the first block of `colour` that has at least this size, or nothing.
QRect block(const QImage &picture, QRgb colour, int width, int height)
{
    QRect found;
    for (int y = 0; y < picture.height(); ++y) {
        const QRect run = firstRun(picture, y, colour, width);
        if (!run.isEmpty()) {
            found |= run;
        } else if (found.height() >= height) {
            break;
        } else {
            found = {};
        }
    }
    return found;
}

/// Returns the height of the sheet or alert over the window; 0 without one.
int sheetHeight(const QImage &picture)
{
    // First find the part above the text. Its left edge, below the round corner, then shows the
    // height.
    const QRect top = block(picture, sheetColour, 380, 4);
    int height = top.isEmpty() ? 0 : 14;
    while (height > 0 && top.top() + height < picture.height() &&
           (picture.pixel(top.left() + 8, top.top() + height) | 0xff000000) == sheetColour) {
        ++height;
    }
    return height;
}

} // namespace

Launcher::Launcher(Screen &screen) : screen_(screen), process_(std::make_unique<QProcess>())
{
    for (const QString &name : {u"run"_s, u"temporary"_s, u"home"_s}) {
        const QString folder = home_.filePath(name);
        QDir().mkdir(folder);
        QFile::setPermissions(folder, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    }
}

Launcher::~Launcher()
{
    process_->kill();
    process_->waitForFinished();
    for (const qint64 game : games()) {
        ::kill(static_cast<pid_t>(game), SIGKILL);
    }
}

QProcessEnvironment Launcher::environment() const
{
    auto environment = screen_.environment();
    environment.insert(u"HOME"_s, home_.filePath(u"home"_s));
    environment.insert(u"TMPDIR"_s, home_.filePath(u"temporary"_s));
    environment.insert(u"XDG_RUNTIME_DIR"_s, home_.filePath(u"run"_s));
    return environment;
}

void Launcher::open()
{
    process_ = std::make_unique<QProcess>();
    process_->setProcessEnvironment(environment());
    process_->setProcessChannelMode(QProcess::ForwardedChannels);
    process_->setChildProcessModifier([] { prctl(PR_SET_PDEATHSIG, SIGKILL); });
    process_->start(QStringLiteral(BRINDLE_PROGRAM), {});
    screen_.activate(title);
}

int Launcher::openAgain()
{
    auto variables = environment();
    variables.insert(u"XDG_RUNTIME_DIR"_s, home_.filePath(u"temporary"_s));
    QProcess again;
    again.setProcessEnvironment(variables);
    again.start(QStringLiteral(BRINDLE_PROGRAM), {});
    Screen::wait("the end of a second start",
                 [&again] { return again.state() == QProcess::NotRunning; });
    return again.exitStatus() == QProcess::NormalExit ? again.exitCode() : -1;
}

int Launcher::waitForEnd()
{
    Screen::wait("the launcher's end", [this] { return !isRunning(); });
    return process_->exitStatus() == QProcess::NormalExit ? process_->exitCode() : -1;
}

QString Launcher::storage(const QString &name) const
{
    const QString root = home_.filePath(u"home/.local/share/Brindle"_s);
    return name.isEmpty() ? root : root + u'/' + name;
}

QStringList Launcher::leftovers() const
{
    return QDir(home_.filePath(u"temporary"_s))
        .entryList({u"Brindle-*"_s}, QDir::AllEntries | QDir::Hidden | QDir::System);
}

QList<qint64> Launcher::games() const
{
    QList<qint64> found;
    for (const QString &id : QDir(u"/proc"_s).entryList(QDir::Dirs)) {
        if (QFile::symLinkTarget(u"/proc/%1/exe"_s.arg(id)).startsWith(storage(u"Engine/"_s))) {
            found << id.toLongLong();
        }
    }
    return found;
}

void Launcher::waitForGame() const
{
    Screen::wait("the game's window to have the keyboard", [this] {
        // An import runs the same program, but opens no window.
        return games().size() == 1 && screen_.focusedTitle() == gameTitle;
    });
}

void Launcher::waitForNoGame() const
{
    Screen::wait("the game's end", [this] { return games().isEmpty(); });
}

void Launcher::waitForSheet() const
{
    Screen::wait("a sheet", [this] { return sheetHeight(screen_.picture()) > 250; });
}

void Launcher::waitForAlert() const
{
    Screen::wait("an alert with its focus ring", [this] {
        const int height = sheetHeight(screen_.picture());
        // Wait for the focus ring: without it the alert may ignore keys. Its upper edge is the
        // topmost block of the accent colour. A half-drawn alert has no such block.
        const int edge = block(screen_.picture(), accent, 20, 2).height();
        return height > 0 && height < 250 && edge > 0 && edge <= 3;
    });
}

void Launcher::waitForContent() const
{
    Screen::wait("sheets and alerts to close",
                 [this] { return sheetHeight(screen_.picture()) == 0; });
}

void Launcher::waitForStatus(Status status) const
{
    // The status circle's middle has the colour.
    Screen::wait("the status", [&] {
        return !block(screen_.picture(), statusColours[static_cast<int>(status)], 8, 4).isEmpty();
    });
}

void Launcher::waitForPlay(bool offered) const
{
    // Find Play by the accent colour beside its text. Other buttons of this colour are shorter, and
    // the progress bar is flatter.
    Screen::wait(offered ? "an enabled Play" : "a disabled Play",
                 [&] { return block(screen_.picture(), accent, 90, 20).isEmpty() != offered; });
}

void Launcher::pressAfterTabs(int tabs) const
{
    screen_.activate(title);
    screen_.press(QStringList(tabs, u"Tab"_s) << u"space"_s);
}

void Launcher::play() const
{
    screen_.activate(title);
    waitForPlay();
    screen_.press({u"Return"_s});
    waitForPlay(false);
}

QString Launcher::copied(const QStringList &keys) const
{
    const QString before = screen_.clipboard();
    screen_.activate(title);
    screen_.press(keys);
    Screen::wait("the copy", [&] { return screen_.clipboard() != before; });
    return screen_.clipboard();
}

QString Launcher::log(int tabs) const
{
    screen_.activate(title);
    waitForPlay();
    pressAfterTabs(tabs);
    waitForSheet();
    // Copy comes before Close in Tab's order.
    const QString text = copied({u"shift+Tab"_s, u"space"_s});
    screen_.press({u"Return"_s});
    waitForContent();
    screen_.press(QStringList(tabs, u"shift+Tab"_s));
    return text;
}

void Launcher::pressEnd() const
{
    screen_.activate(title);
    screen_.press({u"shift+Tab"_s, u"space"_s});
}

void Launcher::pressInSettings(int backTabs) const
{
    screen_.activate(title);
    waitForPlay();
    pressAfterTabs(2);
    waitForSheet();
    screen_.press(QStringList(backTabs, u"shift+Tab"_s) << u"space"_s);
}

} // namespace brindle
