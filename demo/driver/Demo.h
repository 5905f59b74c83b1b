#pragma once

#include "core/AppModel.h"

#include <QCoroTask>

namespace brindle {

/// The demo's three acts: a first Play from nothing, a second one that starts the game at once,
/// and an update.
class Demo
{
public:
    explicit Demo(AppModel &model) : model_(model) {}

    /// Blocks, serving events. True when the game stayed open and closed normally both times and
    /// the update left everything ready.
    bool run();

private:
    bool play(const QString &title, bool straightToTheGame);
    bool update();
    void waitUntilIdle();

    AppModel &model_;
};

} // namespace brindle
