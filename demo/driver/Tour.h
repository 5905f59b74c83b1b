#pragma once

#include "Camera.h"
#include "core/AppModel.h"
#include "demostage/DemoStage.h"

#include <QCoroTask>

#include <functional>

namespace brindle {

/// Shows all of the launcher by pressing its buttons: a first Play from an empty disk, the sheets,
/// a second Play, Stop, an update to a broken version of the game, the failure, and its removal.
class Tour
{
public:
    Tour(AppModel &model, DemoStage &stage, const QString &pictures);

    /// Runs from the event loop. True when everything went as it should; otherwise says on
    /// standard error what did not. Must outlive the task.
    QCoro::Task<bool> run();

private:
    QCoro::Task<> firstPlay();
    QCoro::Task<> sheets();
    QCoro::Task<> secondPlay();
    QCoro::Task<> brokenUpdate();
    QCoro::Task<> removal();

    QCoro::Task<> press(QString button, int clicks = 1);
    /// Gives up, with what was waited for, after two minutes.
    QCoro::Task<> until(QString what, std::function<bool()> condition);
    QCoro::Task<> untilState(QString what, AppState::Phase phase);
    QCoro::Task<> picture(QString name);

    AppModel &model_;
    DemoStage &stage_;
    Camera camera_;
};

} // namespace brindle
