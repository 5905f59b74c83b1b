#include "Tour.h"

#include "Console.h"
#include "Hand.h"

#include <QCoroTimer>
#include <QDeadlineTimer>
#include <QElapsedTimer>

#include <chrono>
#include <cstdio>
#include <stdexcept>

namespace brindle {

namespace {

using namespace std::chrono_literals;

constexpr auto longestWait = 30s;
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

bool isSeen(const char *name)
{
    return Hand::find(QLatin1String(name)) != nullptr;
}

} // namespace

Tour::Tour(AppModel &model, DemoStage &stage, const QString &pictures)
    : model_(model), stage_(stage), camera_(pictures)
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
    co_await until(QStringLiteral("half of the engine"),
                   [this] { return model_.progress().value_or(0) > 0.5; });
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
    co_await until(QStringLiteral("the log"), [] { return isSeen("logPane"); });
    co_await picture(QStringLiteral("log"));
    co_await press(QStringLiteral("closeButton"));
    co_await press(QStringLiteral("settingsButton"));
    co_await until(QStringLiteral("the settings"), [] { return isSeen("resolutionPicker"); });
    co_await picture(QStringLiteral("settings"));
    co_await press(QStringLiteral("doneButton"));
    co_await press(QStringLiteral("aboutButton"));
    co_await until(QStringLiteral("the about sheet"), [] { return isSeen("doneButton"); });
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
    co_await until(QStringLiteral("the update's bytes"),
                   [this] { return !model_.detail().isEmpty(); });
    camera_.take(QStringLiteral("updating"));
    co_await untilState(QStringLiteral("the update's end"), AppState::Phase::ready);
    co_await until(QStringLiteral("the task's end"), [this] { return !model_.work(); });
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
    co_await until(QStringLiteral("the question"), [] { return isSeen("alertButton0"); });
    co_await picture(QStringLiteral("remove-everything"));
    co_await press(QStringLiteral("alertButton0"));
    co_await untilState(QStringLiteral("the empty disk"), AppState::Phase::notDownloaded);
    co_await picture(QStringLiteral("removed"));
    stage_.offerGoodGame();
}

QCoro::Task<> Tour::press(QString button, int clicks)
{
    const QString what = QStringLiteral("the button \"%1\"").arg(button);
    const std::function<bool()> ready = [button] { return Hand::canPress(button); };
    auto waiting = until(what, ready);
    co_await waiting;
    auto looking = pause(look / 2);
    co_await looking;
    if (!Hand::press(button, clicks)) {
        throw std::runtime_error("can't press " + button.toStdString());
    }
    auto watching = pause(look / 2);
    co_await watching;
}

QCoro::Task<> Tour::until(QString what, std::function<bool()> condition)
{
    const QDeadlineTimer deadline(longestWait);
    while (!condition()) {
        if (deadline.hasExpired()) {
            throw std::runtime_error("waited in vain for " + what.toStdString());
        }
        auto waiting = pause(glance);
        co_await waiting;
    }
}

QCoro::Task<> Tour::untilState(QString what, AppState::Phase phase)
{
    const std::function<bool()> reached = [this, phase] { return model_.state().phase == phase; };
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
