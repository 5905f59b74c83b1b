#pragma once

#include "core/AppModel.h"

#include <deque>
#include <functional>

namespace brindle {

/// What a model publishes, in order, so that a state is found however short it was. Main thread
/// only.
class History : public QObject
{
    Q_OBJECT

public:
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

    /// Begins with the model's present moment.
    explicit History(AppModel &model);

    /// Goes on to the first moment that meets the condition; the one that the last call has come to
    /// is the first to be looked at. False when there has been none so far. Throws
    /// std::runtime_error when the model came to need something before it.
    bool advance(const Condition &condition);

    /// How many moments there have been.
    qsizetype size() const { return size_; }

private:
    void record();

    AppModel &model_;
    std::deque<Moment> moments_; // from the one that `advance` has come to
    qsizetype size_ = 0;
};

} // namespace brindle
