#pragma once

#include "DemoStage.h"
#include "core/AppModel.h"

#include <QCoroTask>

#include <functional>

namespace brindle {

/// Shows the whole launcher by pressing its buttons: a first Play from an empty disk, the sheets, a
/// second Play, Stop, an update to a broken version of the game, its failure, and the removal. The
/// picture of a short state may show the next state.
class Tour : public QObject
{
public:
    /// Prints headlines and log lines from now on. Saves numbered pictures of the whole screen in
    /// the folder `pictures`, after deleting earlier ones. Saves none if that name is empty.
    Tour(AppModel &model, DemoStage &stage, const QString &pictures);

    /// Runs from the event loop. After a failure prints the reason on standard error and returns
    /// false. The tour must outlive the task.
    QCoro::Task<bool> run();

private:
    using Phase = AppState::Phase;

    QCoro::Task<> firstPlay();
    QCoro::Task<> sheets();
    QCoro::Task<> secondPlay();
    QCoro::Task<> brokenUpdate();
    QCoro::Task<> removal();

    QCoro::Task<> press(QString button, int clicks = 1);
    /// Waits until an item can be pressed.
    QCoro::Task<> untilSeen(QString item);
    /// Waits for one of the phases.
    QCoro::Task<> until(QString what, QList<Phase> phases);
    /// Waits for the condition. Throws after some minutes, or when the last run failed.
    QCoro::Task<> until(QString what, std::function<bool()> condition, bool mayHaveFailed = false);
    QCoro::Task<> picture(QString name);
    void savePicture(const QString &name);

    AppModel &model_;
    DemoStage &stage_;
    const QString pictures_;
    int taken_ = 0;
    qint64 printed_ = 0; // number of printed log lines
};

} // namespace brindle
