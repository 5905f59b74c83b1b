#pragma once

#include "core/AppModel.h"
#include "demostage/DemoStage.h"
#include "demostage/History.h"

#include <QCoroTask>

#include <functional>

namespace brindle {

/// Shows all of the launcher by pressing its buttons: a first Play from an empty disk, the sheets,
/// a second Play, Stop, an update to a broken version of the game, the failure, and its removal. It
/// goes by what the model publishes, however quick; a picture of a step that is over shows the
/// next.
class Tour : public QObject
{
    Q_OBJECT

public:
    /// Prints headlines and log lines from now on. Numbered pictures of the whole screen replace
    /// earlier ones in the folder `pictures`; there are none when it is empty.
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
    /// Gives up, with what was waited for, when it does not appear for half a minute.
    QCoro::Task<> untilSeen(QString item);
    /// Goes on in what the model publishes; gives up when that is nothing for two minutes.
    QCoro::Task<> until(QString what, History::Condition condition);
    QCoro::Task<> untilState(QString what, AppState::Phase phase);
    QCoro::Task<> picture(QString name);
    void savePicture(const QString &name);

    AppModel &model_;
    History history_;
    DemoStage &stage_;
    const QString pictures_;
    int taken_ = 0;
    qint64 printed_ = 0; // lines of the log
};

} // namespace brindle
