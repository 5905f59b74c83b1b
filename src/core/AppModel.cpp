#include "core/AppModel.h"

#include "base/Error.h"
#include "base/Text.h"
#include "base/Threads.h"
#include "files/Files.h"
#include "project/ProjectInspector.h"

#include <QCoreApplication>
#include <QFile>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace brindle {

AppModel::AppModel(Dependencies parts, QObject *parent)
    : QObject(parent)
    , parts_(std::move(parts))
    , runner(parts_.clock)
    , repo(parts_)
    , engines(parts_)
    , logQueue_(std::make_shared<LogQueue>(&log))
{
    connect(this, &AppModel::workChanged, this, &AppModel::changed);

    QFile saved(parts_.storage.infoFile());
    if (saved.open(QIODevice::ReadOnly)) {
        status_.info = ProjectInfo::fromJson(saved.readAll()).value_or(ProjectInfo::placeholder);
    }
    // Guess from the folder's existence, so that the first window need not wait for the search.
    showReadiness(QFile::exists(parts_.storage.gameFolder()));
    refreshState();
}

AppModel &AppModel::shared()
{
    // Never destroyed, because the window may outlive static objects.
    static auto *const model = new AppModel(compose());
    return *model;
}

void AppModel::show(const Status &status)
{
    if (status == status_) {
        return;
    }
    Q_EMIT willChange();
    status_ = status;
    if (!status_.progress) {
        rate_ = {};
    }
    Q_EMIT changed();
}

/// Shows a phase without progress.
void AppModel::begin(const AppState &state, const QString &stepText, const QString &detail)
{
    Status next = status_;
    next.state = state;
    next.stepText = stepText;
    next.progress.reset();
    next.detail = detail;
    next.timeLeft.clear();
    show(next);
}

ResolutionChoice AppModel::resolution() const
{
    const QString stored = parts_.settings->value(u"resolution"_s).toString();
    return static_cast<ResolutionChoice>(std::max<qsizetype>(0, resolutions.indexOf(stored)));
}

void AppModel::setResolution(ResolutionChoice resolution)
{
    store(u"resolution"_s, resolutions.at(static_cast<qsizetype>(resolution)));
}

QStringList AppModel::resolutionLabels()
{
    QStringList labels = resolutions;
    labels.first() = u"Game default"_s;
    return labels;
}

/// Stores a setting. Logs a failure; until the launcher ends, the value still holds.
void AppModel::store(const QString &key, const QVariant &value)
{
    Q_EMIT willChange();
    // A QSettings keeps its first error, so each write uses a new object. All objects share the
    // values.
    QSettings writer(parts_.settings->fileName(), parts_.settings->format());
    writer.setValue(key, value);
    writer.sync();
    if (writer.status() != QSettings::NoError) {
        note(u"Problem: The settings could not be saved in %1."_s.arg(writer.fileName()));
    }
    Q_EMIT changed();
}

/// Shows whether the game is ready to play. While the mark exists it is not, as the saved
/// description may be an older game's.
void AppModel::showReadiness(bool hasGame)
{
    bool isReady = hasGame && !QFile::exists(parts_.storage.unfinishedMark());
    try {
        isReady = isReady && engines.binary(EngineManager::spec(info()));
    } catch (const SetupError &) { // No engine fits the game. The next run reports this.
        isReady = false;
    }
    begin(isReady ? AppState::ready() : AppState::notDownloaded(), {});
}

QCoro::Task<> AppModel::refreshState()
{
    const auto task = work_;
    const auto find = [folder = parts_.storage.gameFolder()] {
        return ProjectInspector::findProject(folder);
    };
    const std::optional<QString> found = co_await runOnWorker(find);
    if (task != work_) {
        co_return;
    }
    projectURL_ = found;
    showReadiness(found.has_value());
}

/// Returns a callback that logs lines unchanged, from any thread.
LineCallback AppModel::lineSink() const
{
    return [log = logQueue_](const QString &line) { log->append(line); };
}

void AppModel::startWork(bool launch, const QStringList &removed)
{
    set(&Status::failure, std::nullopt);
    runTask([=, this](std::stop_token stop) { return runAll(launch, removed, stop); });
}

void AppModel::play()
{
    // The state may have changed since the press, so check the button's condition again.
    if (canPlay()) {
        startWork(true);
    }
}

void AppModel::cancel()
{
    if (work_) {
        work_->request_stop();
    }
    runner.stop();
}

/// Runs `body` as the task `work`, and shows how it ended.
QCoro::Task<> AppModel::runTask(std::function<QCoro::Task<>(std::stop_token)> body)
{
    const auto task = std::make_shared<std::stop_source>();
    work_ = task;
    Q_EMIT workChanged();
    std::exception_ptr error;
    try {
        co_await body(task->get_token());
    } catch (...) {
        error = std::current_exception();
    }
    if (error && isCancellation(error)) {
        note(u"Cancelled"_s);
        co_await refreshState();
    } else if (error) {
        const QString description = describe(error);
        note(u"Problem: "_s + description);
        begin(AppState::needs(description), stepText());
    }
    undecided_ = false;
    set(&Status::removing, false);
    work_ = nullptr;
    Q_EMIT workChanged();
}

bool AppModel::isCancellation(const std::exception_ptr &error)
{
    try {
        std::rethrow_exception(error);
    } catch (const CancellationError &) {
        return true;
    } catch (...) {
        return false;
    }
}

void AppModel::updateProgress(qint64 done, qint64 total, double speed)
{
    Status next = status_;
    next.progress.reset();
    next.timeLeft.clear();
    next.detail = Text::byteCount(done);
    if (total >= 1) {
        if (const double rate = rate_.add(parts_.clock->now(), done); rate > 0) {
            next.timeLeft = Text::timeLeft(static_cast<double>(total - done) / rate);
        }
        next.progress = static_cast<double>(done) / static_cast<double>(total);
        next.detail += u" of "_s + Text::byteCount(total);
    }
    next.detail += u" · "_s + Text::byteCount(static_cast<qint64>(speed)) + u"/s"_s;
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
        model.begin(AppState::downloading(text), text, model.detail());
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
