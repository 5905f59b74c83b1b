#include "Demo.h"

#include "Console.h"

#include <QEventLoop>

namespace brindle {

bool Demo::run()
{
    return play(QStringLiteral("First Play: nothing is on disk"), false) &&
           play(QStringLiteral("Second Play: straight to the game"), true) && update();
}

bool Demo::play(const QString &title, bool straightToTheGame)
{
    Console::title(title);
    bool steps = false;
    bool opened = false;
    QObject watcher;
    QObject::connect(&model_, &AppModel::stepTextChanged, &watcher, [&] {
        steps = steps || model_.stepText().startsWith(QStringLiteral("Step "));
    });
    QObject::connect(&model_, &AppModel::stateChanged, &watcher,
                     [&] { opened = opened || model_.state().phase == AppState::Phase::playing; });
    model_.startWork(true);
    waitUntilIdle();
    const bool closedNormally =
        !model_.log.lines().isEmpty() &&
        model_.log.lines().last() == QStringLiteral("• Game closed normally");
    return opened && closedNormally && steps != straightToTheGame &&
           model_.state() == AppState::ready();
}

bool Demo::update()
{
    Console::title(QStringLiteral("Update: the game is fetched again"));
    model_.updateGame();
    waitUntilIdle();
    return model_.state() == AppState::ready();
}

void Demo::waitUntilIdle()
{
    QEventLoop loop;
    QObject::connect(&model_, &AppModel::workChanged, &loop, [&] {
        if (!model_.work()) {
            loop.quit();
        }
    });
    if (model_.work()) {
        loop.exec();
    }
}

} // namespace brindle
