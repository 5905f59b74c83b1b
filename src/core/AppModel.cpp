#include "core/AppModel.h"

#include "base/Error.h"
#include "base/Worker.h"
#include "files/Files.h"
#include "files/Paths.h"
#include "log/LogQueue.h"

#include <QCoreApplication>
#include <QDir>
#include <QEventLoop>
#include <QFile>

namespace brindle {

namespace {

const auto fullscreenKey = QStringLiteral("fullscreen");
const auto resolutionKey = QStringLiteral("resolution");

/// How long the end of the program waits for settings to reach the disk, in milliseconds.
constexpr int maxStoring = 2'000;

std::function<Dependencies()> &partsMaker()
{
    static std::function<Dependencies()> maker;
    return maker;
}

} // namespace

AppModel::AppModel(Dependencies parts, QObject *parent)
    : QObject(parent)
    , runner(parts.clock)
    , repo(parts.codeHost, parts.storageRoot, parts.temporaryFolder, parts.platform.archiveTool)
    , engines(parts.codeHost, parts.storageRoot, parts.temporaryFolder, parts.platform)
    , storageRoot_(std::move(parts.storageRoot))
    , settings_(std::move(parts.settings))
    , codeHost_(std::move(parts.codeHost))
    , platform_(std::move(parts.platform))
    , desktop_(std::move(parts.desktop))
    , clock_(std::move(parts.clock))
    , logQueue_(std::make_shared<LogQueue>(&log))
{
    fullscreen_ = settings_->value(fullscreenKey, false).toBool();
    const auto savedResolution = settings_->value(resolutionKey, QString()).toString();
    resolution_ =
        ResolutionChoices::fromRawValue(savedResolution).value_or(ResolutionChoice::gameDefault);
    // It would write by itself in the event loop of the thread that it belongs to.
    settings_->moveToThread(nullptr);
    settingsWriter_.setMaxThreadCount(1);
    connect(QCoreApplication::instance(), &QCoreApplication::aboutToQuit, this,
            [this] { settingsWriter_.waitForDone(maxStoring); });

    Files::makePrivate(storageRoot_);
    QFile saved(infoFile());
    if (saved.open(QIODevice::ReadOnly)) {
        if (auto known = ProjectInfo::fromJson(saved.readAll())) {
            info = *std::move(known);
        }
    }
    refreshState();
}

AppModel::~AppModel()
{
    if (tasks_ > 0) {
        cancel();
    }
    QEventLoop loop;
    while (tasks_ > 0) {
        loop.processEvents(QEventLoop::WaitForMoreEvents);
    }
}

AppModel &AppModel::shared()
{
    // Never destroyed: the window and the delegate may outlive any order of static destruction.
    static auto *const model = new AppModel(partsMaker()());
    return *model;
}

void AppModel::compose(std::function<Dependencies()> parts)
{
    partsMaker() = std::move(parts);
}

void AppModel::setFullscreen(bool fullscreen)
{
    fullscreen_ = fullscreen;
    store(fullscreenKey, fullscreen);
}

void AppModel::setResolution(ResolutionChoice resolution)
{
    resolution_ = resolution;
    store(resolutionKey, ResolutionChoices::rawValue(resolution));
}

/// What can't be stored still holds until the launcher ends.
void AppModel::store(const QString &key, const QVariant &value)
{
    settingsWriter_.start([settings = settings_, log = logQueue_, key, value] {
        settings->setValue(key, value);
        settings->sync();
        if (settings->status() == QSettings::NoError) {
            return;
        }
        // An error is never taken back, so someone else has to try what is left to be stored.
        QSettings again(settings->fileName(), settings->format());
        again.sync();
        if (again.status() != QSettings::NoError) {
            log->append(QStringLiteral("• Problem: The settings could not be saved in %1.")
                            .arg(settings->fileName()));
        }
    });
}

bool AppModel::gameRunning() const
{
    const auto phase = state().phase;
    return phase == AppState::Phase::starting || phase == AppState::Phase::playing;
}

bool AppModel::canCancel() const
{
    const auto phase = state().phase;
    return phase == AppState::Phase::downloading || phase == AppState::Phase::settingUp;
}

void AppModel::refreshState()
{
    projectURL_ = ProjectInspector::findProject(gameFolder());
    bool engineInstalled = false;
    // A game whose setup was interrupted is not a game yet, and the saved description may be that
    // of the one before it.
    if (projectURL_ && !QFile::exists(unfinishedMark())) {
        try {
            engineInstalled = engines.binary(EngineManager::spec(info())).has_value();
        } catch (const SetupError &) {
            // Ignored: no engine fits; the next run tells why.
        }
    }
    state = engineInstalled ? AppState::ready() : AppState::notDownloaded();
    stepText = QString();
    progress = std::nullopt;
    detail = QString();
}

QCoro::Task<qint64> AppModel::storageSize() const
{
    const auto measure = [root = storageRoot_] { return Paths::folderSize(root); };
    auto measuring = runOnWorker(measure);
    const qint64 size = co_await measuring;
    co_return size;
}

QString AppModel::gameFolder() const
{
    return storageRoot_ + QStringLiteral("/Game");
}

QString AppModel::infoFile() const
{
    return storageRoot_ + QStringLiteral("/info.json");
}

/// Lies in the storage root from before a game is downloaded until it is complete: all add-ons in
/// place and its description saved.
QString AppModel::unfinishedMark() const
{
    return storageRoot_ + QStringLiteral("/unfinished");
}

QString AppModel::importMarker(const EngineSpec &spec) const
{
    return storageRoot_ + QStringLiteral("/imported-%1.txt").arg(spec.tag());
}

bool AppModel::isBusy() const
{
    return canCancel() || gameRunning() || work_;
}

void AppModel::setWork(std::shared_ptr<Work> work)
{
    work_ = std::move(work);
    Q_EMIT workChanged();
}

void AppModel::startTask(std::function<QCoro::Task<>(std::stop_token)> body)
{
    setWork(std::make_shared<Work>());
    runTask(work_, std::move(body));
}

/// Keeps `work` present while `body` runs, which starts in an event of its own.
QCoro::Task<> AppModel::runTask(std::shared_ptr<Work> work,
                                std::function<QCoro::Task<>(std::stop_token)> body)
{
    ++tasks_;
    const OneShot<> turn;
    turn.resume();
    co_await turn;
    std::exception_ptr error;
    try {
        auto task = body(work->stop.get_token());
        co_await task;
    } catch (...) {
        error = std::current_exception();
    }
    if (error) {
        endWithError(error);
    }
    --tasks_;
    setWork(nullptr);
}

void AppModel::endWithError(const std::exception_ptr &error)
{
    logQueue_->flush();
    if (isCancellation(error)) {
        log.append(QStringLiteral("• Cancelled"));
        refreshState();
        return;
    }
    const QString description = describe(error);
    log.append(QStringLiteral("• Problem: ") + description);
    progress = std::nullopt;
    detail = QString();
    state = AppState::needs(description);
}

} // namespace brindle
