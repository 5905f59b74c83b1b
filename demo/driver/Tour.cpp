#include "Tour.h"

#include "Hand.h"

#include <QCoroTimer>
#include <QDeadlineTimer>
#include <QDir>
#include <QGuiApplication>
#include <QPixmap>
#include <QQuickItem>
#include <QScreen>

#include <chrono>
#include <cstdio>
#include <stdexcept>

namespace brindle {

namespace {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

/// A real engine's import may take this long.
constexpr auto patience = 5min;
constexpr auto glance = 50ms;
/// Long enough for people to follow, and for windows to settle.
constexpr auto look = 700ms;

QCoro::Task<> pause(std::chrono::milliseconds time)
{
    QTimer timer;
    timer.setSingleShot(true);
    timer.start(time);
    co_await timer;
}

void print(const QString &line)
{
    std::printf("%s\n", qPrintable(line));
    std::fflush(stdout);
}

void printTitle(const QString &text)
{
    print(u"\n%1\n%2"_s.arg(text, QString(text.size(), u'=')));
}

} // namespace

Tour::Tour(AppModel &model, DemoStage &stage, const QString &pictures)
    : model_(model), stage_(stage), pictures_(pictures)
{
    connect(&model.log, &LogStore::linesChanged, this, [this] {
        const auto &lines = model_.log.lines();
        const qint64 dropped = model_.log.dropped();
        for (qint64 i = std::max(printed_, dropped); i < dropped + lines.size(); ++i) {
            print(u"  "_s + lines.at(i - dropped));
        }
        printed_ = dropped + lines.size();
    });
    if (!pictures.isEmpty()) {
        QDir().mkpath(pictures);
        QDir folder(pictures);
        const auto earlier = folder.entryList({u"[0-9][0-9]-*.png"_s});
        for (const QString &name : earlier) {
            folder.remove(name);
        }
    }
}

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
    savePicture(u"broken-off"_s);
    co_return false;
}

QCoro::Task<> Tour::firstPlay()
{
    printTitle(u"First Play: nothing is on disk"_s);
    const QList started{Phase::starting, Phase::playing};
    const QList importing = QList{Phase::settingUp} + started;
    co_await picture(u"nothing-downloaded"_s);
    co_await press(u"playButton"_s);
    co_await until(u"the first step"_s, QList{Phase::downloading} + importing);
    savePicture(u"downloading-the-game"_s);
    co_await until(u"half of the engine"_s, [this, importing] {
        const bool isEngine = model_.stepText().startsWith(u"Step 2"_s);
        return (isEngine && model_.progress().value_or(0) > 0.5) ||
               importing.contains(model_.state().phase);
    });
    savePicture(u"downloading-the-engine"_s);
    co_await until(u"the import"_s, importing);
    co_await picture(u"setting-up"_s);
    co_await until(u"the game's start"_s, started);
    co_await picture(u"starting"_s);
    co_await until(u"the open game"_s, {Phase::playing});
    co_await picture(u"playing"_s);
    if (!stage_.gameEndsByItself()) {
        co_await press(u"stopButton"_s);
    }
    co_await until(u"the game's end"_s, {Phase::ready});
    co_await picture(u"ready"_s);
}

QCoro::Task<> Tour::sheets()
{
    printTitle(u"The sheets"_s);
    co_await press(u"showLogButton"_s);
    co_await untilSeen(u"logPane"_s);
    co_await picture(u"log"_s);
    co_await press(u"closeButton"_s);
    co_await press(u"settingsButton"_s);
    co_await untilSeen(u"resolutionPicker"_s);
    co_await picture(u"settings"_s);
    co_await press(u"closeButton"_s);
    co_await press(u"aboutButton"_s);
    co_await untilSeen(u"closeButton"_s);
    co_await picture(u"about"_s);
    co_await press(u"closeButton"_s);
}

QCoro::Task<> Tour::secondPlay()
{
    printTitle(u"Second Play: straight to the game, and Stop"_s);
    stage_.host().forgetRequests();
    // Stop appears between the two clicks, and must ignore the second click.
    co_await press(u"playButton"_s, 2);
    co_await until(u"the game's start"_s, {Phase::starting});
    co_await pause(2s);
    savePicture(u"second-play"_s);
    co_await press(u"stopButton"_s);
    co_await until(u"the stopped game's end"_s, {Phase::ready});
    if (!stage_.host().requests().isEmpty()) {
        throw std::runtime_error("the second Play downloaded something");
    }
}

QCoro::Task<> Tour::brokenUpdate()
{
    printTitle(u"Update to a version with a mistake in it, and its failure"_s);
    stage_.offerBrokenGame();
    co_await press(u"settingsButton"_s);
    co_await press(u"updateButton"_s);
    savePicture(u"updating"_s);
    co_await until(u"the update's end"_s, [this] { return !model_.work(); });
    co_await press(u"playButton"_s);
    co_await until(u"the failure"_s, {Phase::needs});
    co_await picture(u"failure"_s);
    if (!model_.failure()) {
        throw std::runtime_error("the broken game left no report");
    }
}

QCoro::Task<> Tour::removal()
{
    printTitle(u"Remove everything"_s);
    co_await press(u"settingsButton"_s);
    co_await press(u"removeButton"_s);
    co_await untilSeen(u"alertButton0"_s);
    co_await picture(u"remove-everything"_s);
    co_await press(u"alertButton0"_s);
    co_await until(u"the empty disk"_s, {Phase::notDownloaded});
    co_await picture(u"removed"_s);
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
    return until(item, [item] { return Hand::canPress(item); }, true);
}

QCoro::Task<> Tour::until(QString what, QList<Phase> phases)
{
    return until(what, [this, phases] { return phases.contains(model_.state().phase); });
}

QCoro::Task<> Tour::until(QString what, std::function<bool()> condition, bool mayHaveFailed)
{
    const QDeadlineTimer deadline(patience);
    while (!condition()) {
        if (!mayHaveFailed && model_.state().phase == Phase::needs && !model_.work()) {
            throw std::runtime_error("the launcher says: " + model_.state().text.toStdString());
        }
        if (deadline.hasExpired()) {
            throw std::runtime_error("waited in vain for " + what.toStdString());
        }
        auto waiting = pause(glance);
        co_await waiting;
    }
}

QCoro::Task<> Tour::picture(QString name)
{
    auto looking = pause(look);
    co_await looking;
    savePicture(name);
}

void Tour::savePicture(const QString &name)
{
    if (pictures_.isEmpty()) {
        return;
    }
    const QString file =
        u"%1/%2-%3.png"_s.arg(pictures_).arg(++taken_, 2, 10, QLatin1Char('0')).arg(name);
    if (!QGuiApplication::primaryScreen()->grabWindow(0).save(file)) {
        throw std::runtime_error("can't write " + file.toStdString());
    }
    print(u"[picture: %1]"_s.arg(file));
}

} // namespace brindle
