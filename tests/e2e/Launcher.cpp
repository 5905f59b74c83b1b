#include "Launcher.h"

#include "support/Await.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <csignal>
#include <sys/prctl.h>

namespace brindle {

namespace {

const auto mainTitle = QStringLiteral("Brindle");
const auto logTitle = QStringLiteral("Log");

// The look's colours, as they are seen.
constexpr QRgb accent = 0xff1663d9;
constexpr QRgb statusColours[] = {0xff8e8e93, 0xffff9500, 0xffff3b30, 0xff28b14c};

/// Whether a line of that many pixels of one colour can be seen.
bool hasLine(const QImage &picture, QRgb colour, int length)
{
    for (int y = 0; y < picture.height(); ++y) {
        const auto *const line = reinterpret_cast<const QRgb *>(picture.constScanLine(y));
        int found = 0;
        for (int x = 0; x < picture.width() && found < length; ++x) {
            found = (line[x] | 0xff000000) == colour ? found + 1 : 0;
        }
        if (found == length) {
            return true;
        }
    }
    return false;
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
}

Launcher::~Launcher()
{
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
    QProcess again;
    again.setProcessEnvironment(environment());
    again.start(program_, {});
    spinUntil([&again] { return again.state() == QProcess::NotRunning; });
    return again.exitStatus() == QProcess::NormalExit ? again.exitCode() : -1;
}

int Launcher::waitForEnd()
{
    spinUntil([this] { return !isRunning(); });
    return process_->exitStatus() == QProcess::NormalExit ? process_->exitCode() : -1;
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
    spinUntil([this] {
        // The import is the same program, without a window.
        return !games().isEmpty() &&
               !screen_.windows(QStringLiteral("Brindle Skirmish.*")).isEmpty();
    });
}

void Launcher::waitForNoGame() const
{
    spinUntil([this] { return games().isEmpty(); });
}

void Launcher::waitForStatus(Status status) const
{
    // Across the middle of the circle.
    constexpr int length = 8;
    spinUntil([&] {
        return hasLine(screen_.picture(), statusColours[static_cast<int>(status)], length);
    });
}

void Launcher::waitForPlay(bool offered) const
{
    // The filled part beside the text; other such buttons are shorter.
    constexpr int length = 90;
    spinUntil([&] { return hasLine(screen_.picture(), accent, length) == offered; });
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

QString Launcher::log() const
{
    const QString before = QStringLiteral("not copied yet");
    screen_.setClipboard(before);
    screen_.activate(mainTitle);
    waitForPlay();
    pressAfterTabs(1);
    screen_.activate(logTitle);
    // From Close back to Copy.
    screen_.press({QStringLiteral("shift+Tab"), QStringLiteral("space")});
    QString text;
    spinUntil([&] {
        text = screen_.clipboard();
        return text != before;
    });
    screen_.press({QStringLiteral("Return")});
    spinUntil([this] { return screen_.windows(logTitle).isEmpty(); });
    screen_.activate(mainTitle);
    screen_.press({QStringLiteral("shift+Tab")});
    return text;
}

} // namespace brindle
