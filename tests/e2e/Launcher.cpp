#include "Launcher.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <cmath>
#include <csignal>
#include <sys/prctl.h>
#include <vector>

namespace brindle {

namespace {

const auto mainTitle = QStringLiteral("Brindle");
// The look's colours, as they are seen.
constexpr QRgb accent = 0xff1663d9;
constexpr QRgb sheetColour = 0xfffbfbfc;
constexpr QRgb statusColours[] = {0xff8e8e93, 0xffff9500, 0xffff3b30, 0xff28b14c};

struct Run
{
    int left = 0;
    int length = 0;
};

/// The most pixels of one colour that lie side by side in a row.
Run maxRun(const QImage &picture, int row, QRgb colour)
{
    const auto *const pixels = reinterpret_cast<const QRgb *>(picture.constScanLine(row));
    Run longest;
    int run = 0;
    for (int x = 0; x < picture.width(); ++x) {
        run = (pixels[x] | 0xff000000) == colour ? run + 1 : 0;
        if (run > longest.length) {
            longest = {x - run + 1, run};
        }
    }
    return longest;
}

/// The first block of one colour that is at least so wide and high; empty when none can be seen.
QRect block(const QImage &picture, QRgb colour, int width, int height)
{
    QRect found;
    for (int y = 0; y < picture.height(); ++y) {
        const Run run = maxRun(picture, y, colour);
        if (run.length >= width) {
            found |= QRect(run.left, y, run.length, 1);
        } else if (found.height() >= height) {
            break;
        } else {
            found = {};
        }
    }
    return found;
}

/// The filled part of Play; empty while it can't be pressed.
QRect filledPart(const QImage &picture)
{
    // Beside the text: other such buttons are shorter, the progress bar is flatter.
    return block(picture, accent, 90, 20);
}

/// How high the sheet or alert is that lies over the window; 0 without one.
int sheetHeight(const QImage &picture)
{
    // Above its text. Its left edge, below the round corner, tells the height.
    const QRect top = block(picture, sheetColour, 380, 4);
    if (top.isEmpty()) {
        return 0;
    }
    int height = 14;
    while (top.top() + height < picture.height() &&
           (picture.pixel(top.left() + 8, top.top() + height) | 0xff000000) == sheetColour) {
        ++height;
    }
    return height;
}

/// The width of the widest bar of one colour: some rows high, and not as high as a button.
int widestBar(const QImage &picture, QRgb colour)
{
    constexpr int lowest = 3;
    constexpr int highest = 8;
    int widest = 0;
    int rows = 0;
    int before = 0;
    for (int y = 0; y < picture.height(); ++y) {
        // Its ends are round.
        const int run = maxRun(picture, y, colour).length;
        if (run < before - highest || run == 0) {
            if (rows >= lowest && rows <= highest) {
                widest = std::max(widest, before);
            }
            rows = 0;
            before = 0;
        }
        if (run > 0) {
            rows += 1;
            before = std::max(before, run);
        }
    }
    return widest;
}

} // namespace

Launcher::Launcher(QString program, Screen &screen) : program_(std::move(program)), screen_(screen)
{
    const QDir home(home_.path());
    for (const char *folder : {"run", "temporary", "home"}) {
        home.mkdir(QLatin1String(folder));
        QFile::setPermissions(home.filePath(QLatin1String(folder)),
                              QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    }
    process_ = std::make_unique<QProcess>();
    screen_.setWitness([this] { return testimony(); });
}

Launcher::~Launcher()
{
    screen_.setWitness({});
    process_->kill();
    process_->waitForFinished();
    const auto left = games();
    for (const qint64 game : left) {
        ::kill(static_cast<pid_t>(game), SIGKILL);
    }
}

QProcessEnvironment Launcher::environment() const
{
    auto environment = screen_.environment();
    const auto folder = [this](const char *name) { return home_.filePath(QLatin1String(name)); };
    environment.insert(QStringLiteral("HOME"), folder("home"));
    environment.insert(QStringLiteral("TMPDIR"), folder("temporary"));
    environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), folder("run"));
    for (const char *name : {"XDG_DATA_HOME", "XDG_CONFIG_HOME", "XDG_CACHE_HOME"}) {
        environment.remove(QLatin1String(name));
    }
    return environment;
}

void Launcher::open()
{
    process_ = std::make_unique<QProcess>();
    process_->setProcessEnvironment(environment());
    process_->setProcessChannelMode(QProcess::ForwardedChannels);
    process_->setChildProcessModifier([] { prctl(PR_SET_PDEATHSIG, SIGKILL); });
    process_->start(program_, {});
    screen_.activate(mainTitle);
}

int Launcher::openAgain()
{
    auto variables = environment();
    variables.insert(QStringLiteral("XDG_RUNTIME_DIR"),
                     home_.filePath(QStringLiteral("temporary")));
    QProcess again;
    again.setProcessEnvironment(variables);
    again.start(program_, {});
    screen_.wait("the end of a second start",
                 [&again] { return again.state() == QProcess::NotRunning; });
    return again.exitStatus() == QProcess::NormalExit ? again.exitCode() : -1;
}

int Launcher::openManyAtOnce(int count)
{
    std::vector<std::unique_ptr<QProcess>> starts;
    for (int i = 0; i < count; ++i) {
        auto &process = *starts.emplace_back(std::make_unique<QProcess>());
        process.setProcessEnvironment(environment());
        process.setChildProcessModifier([] { prctl(PR_SET_PDEATHSIG, SIGKILL); });
        process.start(program_, {});
    }
    const auto isRunning = [](const auto &process) {
        return process->state() != QProcess::NotRunning;
    };
    screen_.wait("the end of all starts but one",
                 [&] { return std::count_if(starts.begin(), starts.end(), isRunning) <= 1; });
    const auto ended = std::count_if(starts.begin(), starts.end(), [](const auto &process) {
        return process->state() == QProcess::NotRunning &&
               process->exitStatus() == QProcess::NormalExit && process->exitCode() == 0;
    });
    const auto left = std::find_if(starts.begin(), starts.end(), isRunning);
    if (left != starts.end()) {
        process_ = std::move(*left);
    }
    starts.erase(std::remove(starts.begin(), starts.end(), nullptr), starts.end());
    return static_cast<int>(ended);
}

int Launcher::waitForEnd()
{
    screen_.wait("the launcher's end", [this] { return !isRunning(); });
    return process_->exitStatus() == QProcess::NormalExit ? process_->exitCode() : -1;
}

QStringList Launcher::windows() const
{
    return screen_.windows(mainTitle);
}

void Launcher::waitForSheet() const
{
    screen_.wait("a sheet", [this] { return sheetHeight(screen_.picture()) > 250; });
}

void Launcher::waitForAlert() const
{
    screen_.wait("an alert with its focus ring", [this] {
        const QImage picture = screen_.picture();
        const int height = sheetHeight(picture);
        // The ring's upper edge, which is the first accent colour from above.
        return height > 0 && height < 250 && block(picture, accent, 20, 2).height() <= 3;
    });
}

void Launcher::waitForContent() const
{
    screen_.wait("sheets and alerts to close",
                 [this] { return sheetHeight(screen_.picture()) == 0; });
}

QString Launcher::storage(const QString &name) const
{
    const QString root = home_.filePath(QStringLiteral("home/.local/share/Brindle"));
    return name.isEmpty() ? root : root + QLatin1Char('/') + name;
}

QStringList Launcher::leftovers() const
{
    return QDir(home_.filePath(QStringLiteral("temporary")))
        .entryList({QStringLiteral("Brindle-*")}, QDir::AllEntries | QDir::Hidden | QDir::System);
}

QList<qint64> Launcher::games() const
{
    QList<qint64> found;
    const QString engines = storage(QStringLiteral("Engine/"));
    const auto entries = QDir(QStringLiteral("/proc")).entryList(QDir::Dirs);
    for (const QString &entry : entries) {
        bool isProcess = false;
        const qint64 id = entry.toLongLong(&isProcess);
        if (isProcess &&
            QFile::symLinkTarget(QStringLiteral("/proc/%1/exe").arg(id)).startsWith(engines)) {
            found << id;
        }
    }
    return found;
}

void Launcher::waitForGame() const
{
    screen_.wait("the game's window to have the keyboard", [this] {
        // The import is the same program, without a window.
        return games().size() == 1 && screen_.focusedTitle() == gameTitle();
    });
}

void Launcher::waitForNoGame() const
{
    screen_.wait("the game's end", [this] { return games().isEmpty(); });
}

void Launcher::waitForProgress(double fraction) const
{
    constexpr double margins = 2 * 24;
    const double whole = screen_.size(windows().value(0)).width() - margins;
    screen_.wait("the progress bar at " + QByteArray::number(fraction), [&] {
        return std::abs(widestBar(screen_.picture(), accent) / whole - fraction) < 0.01;
    });
}

void Launcher::waitForStatus(Status status) const
{
    // In the middle of the circle.
    screen_.wait("the status", [&] {
        return !block(screen_.picture(), statusColours[static_cast<int>(status)], 8, 4).isEmpty();
    });
}

void Launcher::waitForPlay(bool offered) const
{
    screen_.wait(offered ? "Play to be pressable" : "Play not to be pressable",
                 [&] { return filledPart(screen_.picture()).isEmpty() != offered; });
}

QPoint Launcher::lowerPartOfPlay() const
{
    waitForPlay();
    const QRect play = filledPart(screen_.picture());
    return {play.center().x(), play.bottom() - 12};
}

void Launcher::pressAfterTabs(int tabs) const
{
    screen_.activate(mainTitle);
    QStringList keys(tabs, QStringLiteral("Tab"));
    keys << QStringLiteral("space");
    screen_.press(keys);
}

void Launcher::play() const
{
    screen_.activate(mainTitle);
    waitForPlay();
    screen_.press({QStringLiteral("Return")});
    waitForPlay(false);
}

QString Launcher::log(int tabs) const
{
    const QString before = QStringLiteral("not copied yet");
    screen_.setClipboard(before);
    screen_.activate(mainTitle);
    waitForPlay();
    pressAfterTabs(tabs);
    waitForSheet();
    // From Close back to Copy.
    screen_.press({QStringLiteral("shift+Tab"), QStringLiteral("space")});
    QString text;
    screen_.wait("the log's copy", [&] {
        text = screen_.clipboard();
        return text != before;
    });
    screen_.press({QStringLiteral("Return")});
    waitForContent();
    screen_.press(QStringList(tabs, QStringLiteral("shift+Tab")));
    return text;
}

QString Launcher::logWhateverIsShown() const
{
    // As often as a layer may lie over another, and as there are controls to try.
    for (int i = 0; i < 3; ++i) {
        screen_.press({QStringLiteral("Escape")});
    }
    screen_.setClipboard({});
    for (int i = 0; i < 8 && isRunning(); ++i) {
        screen_.press({QStringLiteral("Tab"), QStringLiteral("space")});
        screen_.press({QStringLiteral("shift+Tab"), QStringLiteral("space")});
        if (!screen_.clipboard().isEmpty()) {
            return screen_.clipboard();
        }
        screen_.press({QStringLiteral("Escape")});
    }
    return QStringLiteral("can't be had");
}

QByteArray Launcher::testimony() const
{
    QString text = QStringLiteral("The launcher %1.\nGames: %2\nTemporary: %3\nStorage: %4\n")
                       .arg(isRunning() ? QStringLiteral("runs") : QStringLiteral("has ended"))
                       .arg(games().size())
                       .arg(leftovers().join(u' '), QDir(storage()).entryList().join(u' '));
    return (text + QStringLiteral("Log:\n") + logWhateverIsShown()).toUtf8();
}

void Launcher::pressEnd() const
{
    screen_.activate(mainTitle);
    screen_.press({QStringLiteral("shift+Tab"), QStringLiteral("space")});
}

void Launcher::pressInSettings(int backTabs) const
{
    screen_.activate(mainTitle);
    waitForPlay();
    pressAfterTabs(2);
    waitForSheet();
    screen_.press(QStringList(backTabs, QStringLiteral("shift+Tab")) << QStringLiteral("space"));
}

} // namespace brindle
