// The actions besides Play and Cancel.

#include "base/Error.h"
#include "base/Text.h"
#include "base/Worker.h"
#include "core/AppModel.h"
#include "files/Files.h"
#include "log/LogQueue.h"

#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>

#include <algorithm>
#include <utility>

namespace brindle {

namespace {

/// The engine's own rule: how it names the folder of a project's saves.
QString saveFolderName(const QString &project)
{
    static const QRegularExpression replaced(QStringLiteral("[:*?\"<>|/\\\\]"));
    QString name = project.trimmed();
    if (name == u".") {
        return QStringLiteral("dot");
    }
    if (name == u"..") {
        return QStringLiteral("twodots");
    }
    name.replace(replaced, QStringLiteral("-"));
    return name.isEmpty() ? QStringLiteral("[unnamed project]") : name;
}

/// Shows an alert and returns its answer. Logs a failure and returns the last button then.
QCoro::Task<int> ask(std::shared_ptr<Desktop> desktop, std::shared_ptr<LogQueue> log, Alert alert)
{
    const int last = std::max(static_cast<int>(alert.buttons.size()) - 1, 0);
    try {
        auto asking = desktop->runAlert(std::move(alert));
        const int answer = co_await asking;
        co_return answer;
    } catch (...) {
        log->note(QStringLiteral("Problem: ") + describe(std::current_exception()));
    }
    co_return last;
}

} // namespace

QString AppModel::savesFolder() const
{
    return engineUserData_ + QLatin1Char('/') + saveFolderName(info().name);
}

void AppModel::updateGame()
{
    downloadAgain({storage_.gameFolder()});
}

void AppModel::reinstall()
{
    downloadAgain({storage_.gameFolder(), storage_.enginesFolder()});
}

void AppModel::removeEverything()
{
    if (canPlay()) {
        startTask([this](std::stop_token stop) { return removeRoot(std::move(stop)); });
        work_->undecided = true;
    }
}

void AppModel::showSaves()
{
    const QString folder = savesFolder();
    if (QFile::exists(folder)) {
        desktop_->reveal(folder);
        return;
    }
    ask(desktop_, logQueue_,
        {QStringLiteral("No saves yet"),
         QStringLiteral("Godot creates its save folder the first time the game saves something."),
         {}});
}

void AppModel::revealInFinder()
{
    if (QFile::exists(storage_.root)) {
        desktop_->reveal(storage_.root);
        return;
    }
    ask(desktop_, logQueue_,
        {QStringLiteral("Nothing downloaded yet"),
         QStringLiteral("Press Play first; the files will then appear here."),
         {}});
}

void AppModel::openRepository()
{
    desktop_->openPage(repositoryPage_);
}

QString AppModel::repositoryAddress() const
{
    return repositoryPage_.authority() + repositoryPage_.path();
}

void AppModel::copyFailure()
{
    if (const auto &report = failure()) {
        desktop_->copyText(Text::withoutControls(report->summary + QStringLiteral("\n\n") +
                                                 report->lines.join(QLatin1Char('\n'))));
    }
}

void AppModel::copyLog()
{
    desktop_->copyText(Text::withoutControls(log.lines().join(QLatin1Char('\n'))));
}

bool AppModel::confirmQuit()
{
    if (!gameRunning() && (!work_ || work_->undecided)) {
        if (work_) {
            // It has nothing to lose, and asks nothing any more.
            work_->stop.request_stop();
        }
        return true;
    }
    const QStringList buttons{QStringLiteral("Quit"), QStringLiteral("Keep open")};
    const Alert alert = gameRunning()
                            ? Alert{QStringLiteral("The game is still running"),
                                    QStringLiteral("Quitting will close the game too."), buttons}
                            : Alert{QStringLiteral("A download is still running"),
                                    QStringLiteral("Quitting will cancel it."), buttons};
    // Serves events until the question is answered or the application ends.
    const auto answer = std::make_shared<std::optional<int>>();
    QEventLoop loop;
    ask(desktop_, logQueue_, alert).then([answer, waiting = QPointer(&loop)](int button) {
        *answer = button;
        if (waiting) {
            waiting->quit();
        }
    });
    if (!*answer) {
        loop.exec();
    }
    if (answer->value_or(1) != 0) {
        return false;
    }
    cancel();
    return true;
}

/// A run without launch, after deleting what it shall fetch again.
void AppModel::downloadAgain(const QStringList &removed)
{
    if (!canPlay()) {
        return;
    }
    failure = std::nullopt;
    // Shown at once, as deleting a large game takes a moment.
    pipeline_.showGameDownload();
    startTask(
        [this, removed](std::stop_token stop) { return removeAndRun(removed, std::move(stop)); });
}

QCoro::Task<> AppModel::removeAndRun(QStringList removed, std::stop_token stop)
{
    const auto remove = [removed, storage = storage_, stop] {
        for (const QString &path : removed) {
            checkCancellation(stop);
            Files::removeIfPossible(path, stop);
        }
        storage.clearImportMarkers();
    };
    co_await runOnWorker(remove);
    projectURL_ = std::nullopt;
    co_await runPipeline(false, stop);
}

QCoro::Task<> AppModel::removeRoot(std::stop_token stop)
{
    const auto measure = [root = storage_.root] { return Paths::folderSize(root); };
    const qint64 size = co_await runOnWorker(measure);
    if (stop.stop_requested()) {
        co_return;
    }
    const Alert question{
        QStringLiteral("Remove the game and the engine?"),
        QStringLiteral("This frees %1. Your saved games (in Godot's own folder) are kept.")
            .arg(Text::byteCount(size)),
        {QStringLiteral("Remove"), QStringLiteral("Cancel")},
        true};
    auto asking = desktop_->runAlert(question);
    const int answer = co_await asking;
    if (answer != 0 || stop.stop_requested()) {
        co_return;
    }
    work_->undecided = false;
    const auto remove = [root = storage_.root, stop] {
        // Behind a link lies what was measured; the link goes as well.
        const QString behind = QFileInfo(root).canonicalFilePath();
        if (!behind.isEmpty()) {
            Files::removeIfPossible(behind, stop);
        }
        Files::removeIfPossible(root, stop);
    };
    co_await runOnWorker(remove);
    info = ProjectInfo::placeholder;
    failure = std::nullopt;
    log.setLines({});
    refreshState();
}

void AppModel::measureStorage()
{
    // Ignored: that there is no thread for it. The size stays unknown then.
    measure();
}

QCoro::Task<> AppModel::measure()
{
    const int number = ++measurements_;
    if (std::exchange(storageSize_, unknownSize()) != unknownSize()) {
        Q_EMIT storageSizeChanged();
    }
    const QPointer<AppModel> self(this);
    const auto measure = [root = storage_.root] { return Paths::folderSize(root); };
    const qint64 bytes = co_await runOnWorker(measure);
    if (self && self->measurements_ == number) {
        self->storageSize_ = Text::byteCount(bytes);
        Q_EMIT self->storageSizeChanged();
    }
}

} // namespace brindle
