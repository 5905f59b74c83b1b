#include "core/AppModel.h"

#include "core/LineSink.h"
#include "services/Paths.h"
#include "services/SetupError.h"
#include "services/Worker.h"

#include <QDir>
#include <QEventLoop>
#include <QFile>

namespace brindle {

namespace {

const auto fullscreenKey = QStringLiteral("fullscreen");
const auto resolutionKey = QStringLiteral("resolution");

std::function<AppModelParts()> &partsMaker()
{
    static std::function<AppModelParts()> maker;
    return maker;
}

} // namespace

AppModel::AppModel(AppModelParts parts, QObject *parent)
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
    , lineSink_(std::make_shared<LineSink>(&log))
{
    fullscreen_ = settings_->value(fullscreenKey, false).toBool();
    const auto savedResolution = settings_->value(resolutionKey, QString()).toString();
    resolution_ =
        ResolutionChoices::fromRawValue(savedResolution).value_or(ResolutionChoice::gameDefault);

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

void AppModel::compose(std::function<AppModelParts()> parts)
{
    partsMaker() = std::move(parts);
}

void AppModel::setFullscreen(bool fullscreen)
{
    fullscreen_ = fullscreen;
    settings_->setValue(fullscreenKey, fullscreen);
    syncSettings();
}

void AppModel::setResolution(ResolutionChoice resolution)
{
    resolution_ = resolution;
    settings_->setValue(resolutionKey, ResolutionChoices::rawValue(resolution));
    syncSettings();
}

/// What can't be stored still holds until the launcher ends.
void AppModel::syncSettings()
{
    settings_->sync();
    if (settings_->status() == QSettings::NoError) {
        return;
    }
    // An error is never taken back, so someone else has to try what is left to be stored.
    QSettings again(settings_->fileName(), settings_->format());
    again.sync();
    if (again.status() != QSettings::NoError) {
        log.append(QStringLiteral("• Problem: The settings could not be saved in %1.")
                       .arg(settings_->fileName()));
    }
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
    const Continuation<> turn;
    QMetaObject::invokeMethod(this, [turn] { turn.resume(); }, Qt::QueuedConnection);
    co_await turn;
    auto task = body(work->stop.get_token());
    co_await task;
    --tasks_;
    setWork(nullptr);
}

} // namespace brindle
