// Implements the actions besides Play and Cancel.

#include "base/Error.h"
#include "base/Text.h"
#include "base/Threads.h"
#include "core/AppModel.h"
#include "files/Files.h"

#include <QEventLoop>
#include <QFile>
#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace brindle {

namespace {

/// Passes on the answer, then ends the wait. QCoro 0.11's own `then` casts to a wrong type.
QCoro::Task<> takeAnswer(QCoro::Task<int> asking, std::shared_ptr<std::optional<int>> answer,
                         QPointer<QEventLoop> waiting)
{
    *answer = co_await asking;
    if (waiting) {
        waiting->quit();
    }
}

} // namespace

QString AppModel::savesFolder() const
{
    static const QRegularExpression replaced(u"[:*?\"<>|/\\\\]"_s); // by the engine, with "-"
    return EngineSpec::userDataFolder(parts_.platform) + u'/' +
           info().name.trimmed().replace(replaced, u"-"_s);
}

void AppModel::updateGame()
{
    if (canPlay()) {
        startWork(false, {parts_.storage.gameFolder()});
    }
}

void AppModel::reinstall()
{
    if (canPlay()) {
        startWork(false, {parts_.storage.gameFolder(), parts_.storage.enginesFolder()});
    }
}

void AppModel::removeEverything()
{
    if (canPlay()) {
        undecided_ = true;
        set(&Status::removing, true);
        runTask([this](std::stop_token stop) { return removeRoot(std::move(stop)); });
    }
}

void AppModel::showSaves()
{
    reveal(savesFolder(),
           {u"No saves yet"_s,
            u"Godot creates its save folder the first time the game saves something."_s,
            {}});
}

void AppModel::revealInFinder()
{
    reveal(
        parts_.storage.root,
        {u"Nothing downloaded yet"_s, u"Press Play first; the files will then appear here."_s, {}});
}

void AppModel::reveal(const QString &path, const Alert &otherwise) const
{
    if (QFile::exists(path)) {
        parts_.desktop->reveal(path);
    } else {
        parts_.desktop->runAlert(otherwise);
    }
}

void AppModel::copyFailure()
{
    if (hasFailure()) {
        parts_.desktop->copyText(
            Text::withoutControls(failureSummary() + u"\n\n"_s + failureText()));
    }
}

void AppModel::copyLog()
{
    parts_.desktop->copyText(Text::withoutControls(log.lines().join(u'\n')));
}

bool AppModel::confirmQuit()
{
    if (!gameRunning() && (!work_ || undecided_)) {
        cancel(); // a removal without an answer has deleted nothing
        return true;
    }
    const QStringList buttons{u"Quit"_s, u"Keep open"_s};
    const Alert alert =
        gameRunning()
            ? Alert{u"The game is still running"_s, u"Quitting will close the game too."_s, buttons}
            : Alert{u"A download is still running"_s, u"Quitting will cancel it."_s, buttons};
    const auto answer = std::make_shared<std::optional<int>>();
    QEventLoop loop;
    takeAnswer(parts_.desktop->runAlert(alert), answer, &loop);
    if (!*answer) {
        loop.exec(); // also returns, without an answer, when the application ends
    }
    if (*answer != 0) { // or none
        return false;
    }
    cancel();
    return true;
}

QCoro::Task<> AppModel::removeRoot(std::stop_token stop)
{
    co_await measure();
    if (stop.stop_requested()) {
        co_return;
    }
    set(&Status::removing, false);
    const Alert question{
        u"Remove the game and the engine?"_s,
        u"This frees %1. Your saved games (in Godot's own folder) are kept."_s.arg(storageSize()),
        {u"Remove"_s, u"Cancel"_s},
        true};
    auto asking = parts_.desktop->runAlert(question);
    if (co_await asking != 0) {
        co_return;
    }
    undecided_ = false;
    set(&Status::removing, true);
    const auto remove = [storage = parts_.storage, stop] { storage.removeAll(stop); };
    co_await runOnWorker(remove);
    set(&Status::info, ProjectInfo::placeholder);
    set(&Status::failure, std::nullopt);
    log.setLines({});
    co_await refreshState();
}

QCoro::Task<> AppModel::measure()
{
    const auto measure = [root = parts_.storage.root] { return Paths::folderSize(root); };
    set(&Status::storageSize, Text::byteCount(co_await runOnWorker(measure)));
}

} // namespace brindle
