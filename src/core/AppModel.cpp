#include "core/AppModel.h"

#include "base/Error.h"
#include "base/Text.h"
#include "files/Files.h"
#include "log/LogQueue.h"
#include "project/ProjectInspector.h"

#include <QCoreApplication>
#include <QFile>

#include <algorithm>
#include <functional>
#include <limits>

namespace brindle {

namespace {

/// How many lines of the log a failure report shows.
constexpr qsizetype reportLines = 30;

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
    , storage_(std::move(parts.storageRoot))
    , repositoryPage_(RepoDownloader::repositoryPage(parts.codeHost))
    , engineUserData_(EngineSpec::userDataFolder(parts.platform))
    , desktop_(std::move(parts.desktop))
    , clock_(parts.clock)
    , logQueue_(std::make_shared<LogQueue>(&log))
    , settings_(std::move(parts.settings), logQueue_)
    , pipeline_({.repo = repo,
                 .engines = engines,
                 .runner = runner,
                 .storage = storage_,
                 .repositoryPage = repositoryPage_,
                 .platform = std::move(parts.platform),
                 .clock = std::move(parts.clock),
                 .log = logQueue_,
                 .status = status_,
                 .show = [this](const Status &next) { show(next); },
                 .info = info_,
                 .setInfo = [this](const ProjectInfo &known) { info = known; },
                 .gameArguments = [this] { return settings_.arguments(); },
                 .gameVariables = std::bind_front(&Desktop::startPermission, desktop_)})
{
    connect(QCoreApplication::instance(), &QCoreApplication::aboutToQuit, this,
            [this] { settings_.waitUntilStored(); });
    connect(this, &AppModel::stateChanged, this, &AppModel::canPlayChanged);
    connect(this, &AppModel::workChanged, this, &AppModel::canPlayChanged);

    Files::makePrivate(storage_.root);
    QFile saved(storage_.infoFile());
    if (saved.open(QIODevice::ReadOnly)) {
        if (auto known = ProjectInfo::fromJson(saved.readAll())) {
            info = *std::move(known);
        }
    }
    refreshState();
}

AppModel::~AppModel()
{
    if (tasks_.any()) {
        cancel();
    }
    tasks_.wait();
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

/// Publishes what differs from what is shown.
void AppModel::show(const Status &next)
{
    stepText.update(next.stepText);
    state.update(next.state);
    progress.update(next.progress);
    detail.update(next.detail);
    timeLeft.update(next.timeLeft);
    if (!next.progress) {
        rate_ = {};
    }
}

bool AppModel::fullscreen() const
{
    return settings_.chosen(QStringLiteral("fullscreen")) == 1;
}

void AppModel::setFullscreen(bool fullscreen)
{
    choose(QStringLiteral("fullscreen"), fullscreen ? 1 : 0);
}

ResolutionChoice AppModel::resolution() const
{
    const auto chosen = static_cast<size_t>(settings_.chosen(QStringLiteral("resolution")));
    return ResolutionChoices::all.at(chosen);
}

void AppModel::setResolution(ResolutionChoice resolution)
{
    choose(QStringLiteral("resolution"), static_cast<int>(resolution));
}

void AppModel::choose(const QString &setting, int choice)
{
    if (GameSettings::choice(setting, choice)) {
        Q_EMIT willChange();
        settings_.choose(setting, choice);
        Q_EMIT settingsChanged();
    }
}

QString AppModel::needsMessage() const
{
    return state().phase == AppState::Phase::needs ? state().text : QString();
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

QString AppModel::failureSummary() const
{
    const auto &report = failure();
    return report ? report->summary : QString();
}

QString AppModel::failureText() const
{
    const auto &report = failure();
    return report ? report->lines.join(QLatin1Char('\n')) : QString();
}

void AppModel::refreshState()
{
    projectURL_ = ProjectInspector::findProject(storage_.gameFolder());
    bool engineInstalled = false;
    // A game whose setup was interrupted is not a game yet, and the saved description may be that
    // of the one before it.
    if (projectURL_ && !QFile::exists(storage_.unfinishedMark())) {
        try {
            engineInstalled = engines.binary(EngineManager::spec(info())).has_value();
        } catch (const SetupError &) {
            // Ignored: no engine fits; the next run tells why.
        }
    }
    show({engineInstalled ? AppState::ready() : AppState::notDownloaded(), {}, std::nullopt, {}});
}

void AppModel::startWork(bool launch)
{
    failure = std::nullopt;
    startTask(
        [this, launch](std::stop_token stop) { return runPipeline(launch, std::move(stop)); });
}

void AppModel::play()
{
    // A press may race a change of state, so the button's own rule is repeated here.
    if (canPlay()) {
        startWork(true);
    }
}

void AppModel::cancel()
{
    if (work_) {
        work_->stop.request_stop();
    }
    repo.downloader.cancelTask();
    engines.downloader.cancelTask();
    runner.stop();
}

void AppModel::setWork(std::shared_ptr<BackgroundTask> work)
{
    work_ = std::move(work);
    Q_EMIT workChanged();
}

void AppModel::startTask(BackgroundTask::Body body)
{
    setWork(
        tasks_.start(std::move(body), [this](const std::exception_ptr &error) { endTask(error); }));
}

void AppModel::endTask(const std::exception_ptr &error)
{
    if (isCancellation(error)) {
        logQueue_->note(QStringLiteral("Cancelled"));
        refreshState();
    } else if (error) {
        const QString description = describe(error);
        logQueue_->note(QStringLiteral("Problem: ") + description);
        show({AppState::needs(description), stepText(), std::nullopt, {}});
    }
    setWork(nullptr);
    if (measurements_ > 0) {
        measureStorage();
    }
}

QCoro::Task<> AppModel::runPipeline(bool launch, std::stop_token stop)
{
    const StatusCallback status = [box = StatusBox(this)](const QString &text) { box.set(text); };
    const Pipeline::Run run{launch, progressHandler(), status, stop};
    const std::optional<Pipeline::Failure> failed = co_await pipeline_.runAll(run);
    if (!failed) {
        refreshState();
        co_return;
    }
    if (failed->isExplained) {
        logQueue_->flush();
        const QStringList &lines = log.lines();
        const QStringList tail = lines.mid(std::max<qsizetype>(0, lines.size() - reportLines));
        failure = FailureReport{failed->message + QLatin1Char(' ') + plainHint(tail), tail};
    }
    state = AppState::needs(failed->message);
}

bool AppModel::isCancellation(const std::exception_ptr &error)
{
    try {
        if (error) {
            std::rethrow_exception(error);
        }
    } catch (const CancellationError &) {
        return true;
    } catch (...) {
        // Ignored: it is a failure.
    }
    return false;
}

QString AppModel::plainHint(const QStringList &lines)
{
    struct Hint
    {
        QStringList needles; // in lower case; one of them is enough
        QString text;
    };
    // In the order in which they are looked for. The last fits always.
    static const QList<Hint> hints{
        {{QStringLiteral("vulkan"), QStringLiteral("metal"), QStringLiteral("gpu"),
          QStringLiteral("rendering")},
         QStringLiteral("The graphics system reported a problem. The game may need a faster Mac "
                        "or a newer macOS.")},
        {{QStringLiteral("script error"), QStringLiteral("parse error")},
         QStringLiteral("The game's scripts reported errors. The log below shows where.")},
        {{QString()}, QStringLiteral("The last lines of the log below may show why.")},
    };
    const QString log = lines.join(QLatin1Char('\n')).toLower();
    const auto fits = [&log](const Hint &hint) {
        return std::any_of(hint.needles.begin(), hint.needles.end(),
                           [&log](const QString &needle) { return log.contains(needle); });
    };
    return std::find_if(hints.begin(), hints.end(), fits)->text;
}

void AppModel::updateProgress(qint64 done, qint64 total, double speed)
{
    constexpr auto most = static_cast<double>(std::numeric_limits<qint64>::max()) / 2;
    const auto wholeSpeed = static_cast<qint64>(std::clamp(speed, 0.0, most));
    Status next = status_;
    next.progress = std::nullopt;
    next.timeLeft.clear();
    next.detail = Text::byteCount(done);
    if (total >= 1) {
        rate_.add(clock_->now(), done);
        if (const auto rate = rate_.perSecond(); rate && *rate > 0) {
            next.timeLeft = Text::timeLeft(static_cast<double>(total - done) / *rate);
        }
        next.progress = static_cast<double>(done) / static_cast<double>(total);
        next.detail += QStringLiteral(" of ") + Text::byteCount(total);
    }
    next.detail += QStringLiteral(" · ") + Text::byteCount(wholeSpeed) + QStringLiteral("/s");
    show(next);
}

ProgressCallback AppModel::progressHandler()
{
    return [box = StatusBox(this)](qint64 done, qint64 total, double speed) {
        box.update([=](AppModel &model) { model.updateProgress(done, total, speed); });
    };
}

void StatusBox::set(const QString &text) const
{
    update([text](AppModel &model) {
        Status next = model.status_;
        next.stepText = text;
        next.state = AppState::downloading(text);
        next.progress = std::nullopt;
        next.timeLeft.clear();
        model.show(next);
    });
}

void StatusBox::update(std::function<void(AppModel &)> change) const
{
    QMetaObject::invokeMethod(
        QCoreApplication::instance(),
        [model = model_, run = run_, change = std::move(change)] {
            if (model && model->work() == run) {
                change(*model);
            }
        },
        Qt::QueuedConnection);
}

} // namespace brindle
