#include "Tour.h"

#include "Console.h"
#include "Hand.h"

#include <QCoroTimer>
#include <QDeadlineTimer>
#include <QQuickItem>

#include <chrono>
#include <cstdio>
#include <stdexcept>
#include <utility>

namespace brindle {

namespace {

using namespace std::chrono_literals;

constexpr auto maxAbsence = 30s;
/// A real engine may import for as long without a word.
constexpr auto maxSilence = 2min;
constexpr auto glance = 50ms;
/// Long enough for an eye to follow, and for windows to be where they belong.
constexpr auto look = 700ms;

QCoro::Task<> pause(std::chrono::milliseconds time)
{
    QTimer timer;
    timer.setSingleShot(true);
    timer.start(time);
    co_await timer;
}

bool isIn(const History::Moment &moment, AppState::Phase phase)
{
    return moment.state.phase == phase;
}

} // namespace

Tour::Tour(AppModel &model, DemoStage &stage, const QString &pictures)
    : model_(model), history_(model), stage_(stage), camera_(pictures)
{}

QCoro::Task<bool> Tour::run()
{
    try {
        co_await firstPlay();
        co_await sheets();
        co_await secondPlay();
        co_await brokenUpdate();
        co_await removal();
        co_return true;
    } catch (const std::exception &error) {
        std::fprintf(stderr, "The tour broke off: %s\n", error.what());
    }
    camera_.take(QStringLiteral("broken-off"));
    co_return false;
}

QCoro::Task<> Tour::firstPlay()
{
    Console::title(QStringLiteral("First Play: nothing is on disk"));
    co_await picture(QStringLiteral("nothing-downloaded"));
    co_await press(QStringLiteral("playButton"));
    co_await untilState(QStringLiteral("the first step"), AppState::Phase::downloading);
    camera_.take(QStringLiteral("downloading-the-game"));
    const History::Condition half = [](const History::Moment &moment) {
        const bool isEngine = moment.stepText.startsWith(QStringLiteral("Step 2"));
        return (isEngine && moment.progress.value_or(0) > 0.5) ||
               isIn(moment, AppState::Phase::settingUp);
    };
    co_await until(QStringLiteral("half of the engine"), half);
    camera_.take(QStringLiteral("downloading-the-engine"));
    co_await untilState(QStringLiteral("the import"), AppState::Phase::settingUp);
    co_await picture(QStringLiteral("setting-up"));
    co_await untilState(QStringLiteral("the game's start"), AppState::Phase::starting);
    co_await picture(QStringLiteral("starting"));
    co_await untilState(QStringLiteral("the open game"), AppState::Phase::playing);
    co_await picture(QStringLiteral("playing"));
    if (!stage_.gameEndsByItself()) {
        co_await press(QStringLiteral("stopButton"));
    }
    co_await untilState(QStringLiteral("the game's end"), AppState::Phase::ready);
    co_await picture(QStringLiteral("ready"));
}

QCoro::Task<> Tour::sheets()
{
    Console::title(QStringLiteral("The sheets"));
    co_await press(QStringLiteral("showLogButton"));
    co_await untilSeen(QStringLiteral("logPane"));
    co_await picture(QStringLiteral("log"));
    co_await press(QStringLiteral("closeButton"));
    co_await press(QStringLiteral("settingsButton"));
    co_await untilSeen(QStringLiteral("resolutionPicker"));
    co_await picture(QStringLiteral("settings"));
    co_await press(QStringLiteral("doneButton"));
    co_await press(QStringLiteral("aboutButton"));
    co_await untilSeen(QStringLiteral("doneButton"));
    co_await picture(QStringLiteral("about"));
    co_await press(QStringLiteral("doneButton"));
}

QCoro::Task<> Tour::secondPlay()
{
    Console::title(QStringLiteral("Second Play: straight to the game, and Stop"));
    stage_.host().forgetRequests();
    // Stop appears between the two clicks, and takes neither.
    co_await press(QStringLiteral("playButton"), 2);
    co_await untilState(QStringLiteral("the game's start"), AppState::Phase::starting);
    co_await pause(2s);
    camera_.take(QStringLiteral("second-play"));
    co_await press(QStringLiteral("stopButton"));
    co_await untilState(QStringLiteral("the stopped game's end"), AppState::Phase::ready);
    if (!stage_.host().requests().isEmpty()) {
        throw std::runtime_error("the second Play downloaded something");
    }
}

QCoro::Task<> Tour::brokenUpdate()
{
    Console::title(QStringLiteral("Update to a version with a mistake in it, and its failure"));
    stage_.offerBrokenGame();
    co_await press(QStringLiteral("settingsButton"));
    co_await press(QStringLiteral("updateButton"));
    const History::Condition updates = [](const History::Moment &moment) {
        return (isIn(moment, AppState::Phase::downloading) && !moment.detail.isEmpty()) ||
               isIn(moment, AppState::Phase::settingUp);
    };
    co_await until(QStringLiteral("the update's bytes"), updates);
    camera_.take(QStringLiteral("updating"));
    co_await untilState(QStringLiteral("the update's end"), AppState::Phase::ready);
    const History::Condition isOver = [](const History::Moment &moment) { return !moment.works; };
    co_await until(QStringLiteral("the task's end"), isOver);
    co_await press(QStringLiteral("playButton"));
    co_await untilState(QStringLiteral("the failure"), AppState::Phase::needs);
    co_await picture(QStringLiteral("failure"));
    if (!model_.failure()) {
        throw std::runtime_error("the broken game left no report");
    }
}

QCoro::Task<> Tour::removal()
{
    Console::title(QStringLiteral("Remove everything"));
    co_await press(QStringLiteral("settingsButton"));
    co_await press(QStringLiteral("removeButton"));
    co_await untilSeen(QStringLiteral("alertButton0"));
    co_await picture(QStringLiteral("remove-everything"));
    co_await press(QStringLiteral("alertButton0"));
    co_await untilState(QStringLiteral("the empty disk"), AppState::Phase::notDownloaded);
    co_await picture(QStringLiteral("removed"));
    stage_.offerGoodGame();
}

QCoro::Task<> Tour::press(QString button, int clicks)
{
    auto waiting = untilSeen(button);
    co_await waiting;
    auto looking = pause(look / 2);
    co_await looking;
    if (!Hand::press(button, clicks)) {
        throw std::runtime_error("can't press " + button.toStdString());
    }
    auto watching = pause(look / 2);
    co_await watching;
}

QCoro::Task<> Tour::untilSeen(QString item)
{
    const QDeadlineTimer deadline(maxAbsence);
    while (!Hand::canPress(item)) {
        if (deadline.hasExpired()) {
            throw std::runtime_error("there is no " + item.toStdString() + " to be used");
        }
        auto waiting = pause(glance);
        co_await waiting;
    }
}

QCoro::Task<> Tour::until(QString what, History::Condition condition)
{
    QDeadlineTimer deadline(maxSilence);
    qsizetype known = history_.size();
    while (!history_.advance(condition)) {
        if (known != std::exchange(known, history_.size())) {
            deadline.setRemainingTime(maxSilence);
        }
        if (deadline.hasExpired()) {
            throw std::runtime_error("waited in vain for " + what.toStdString());
        }
        auto waiting = pause(glance);
        co_await waiting;
    }
}

QCoro::Task<> Tour::untilState(QString what, AppState::Phase phase)
{
    const History::Condition reached = [phase](const History::Moment &moment) {
        return isIn(moment, phase);
    };
    auto waiting = until(what, reached);
    co_await waiting;
}

QCoro::Task<> Tour::picture(QString name)
{
    auto looking = pause(look);
    co_await looking;
    camera_.take(name);
}

} // namespace brindle
