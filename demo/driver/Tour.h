#pragma once

#include "core/AppModel.h"
#include "demostage/DemoStage.h"

#include <QCoroTask>

#include <deque>
#include <functional>
#include <optional>

namespace brindle {

/// Shows all of the launcher by pressing its buttons: a first Play from an empty disk, the sheets,
/// a second Play, Stop, an update to a broken version of the game, the failure, and its removal. It
/// finds every state that the model publishes, however short. The picture of a short state may show
/// the next one.
class Tour : public QObject
{
    Q_OBJECT

public:
    /// Prints headlines and log lines from now on. Saves numbered pictures of the whole screen in
    /// the folder `pictures` in place of earlier ones, or none when that name is empty.
    Tour(AppModel &model, DemoStage &stage, const QString &pictures);

    /// Runs from the event loop. Returns false when something went wrong, with the reason on
    /// standard error. The tour must outlive the task.
    QCoro::Task<bool> run();

private:
    /// The model's published fields after one of them has changed.
    struct Moment
    {
        AppState state;
        QString stepText;
        QString detail;
        std::optional<double> progress;
        bool works = false; ///< a task runs
    };
    using Condition = std::function<bool(const Moment &moment)>;

    QCoro::Task<> firstPlay();
    QCoro::Task<> sheets();
    QCoro::Task<> secondPlay();
    QCoro::Task<> brokenUpdate();
    QCoro::Task<> removal();

    QCoro::Task<> press(QString button, int clicks = 1);
    /// Waits for an item that can be pressed. Throws after half a minute.
    QCoro::Task<> untilSeen(QString item);
    /// Waits for a moment from the last awaited one on. Throws when the model publishes nothing for
    /// two minutes, or needs something first.
    QCoro::Task<> until(QString what, Condition condition);
    QCoro::Task<> untilState(QString what, AppState::Phase phase);
    void record();
    bool advance(const Condition &condition);
    QCoro::Task<> picture(QString name);
    void savePicture(const QString &name);

    AppModel &model_;
    DemoStage &stage_;
    const QString pictures_;
    std::deque<Moment> moments_; // from the last awaited one on
    qsizetype published_ = 0;    // moments so far
    int taken_ = 0;
    qint64 printed_ = 0; // lines of the log
};

} // namespace brindle
