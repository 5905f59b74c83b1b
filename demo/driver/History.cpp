#include "demostage/History.h"

#include <stdexcept>

namespace brindle {

namespace {

bool isNeeding(const History::Moment &moment)
{
    return moment.state.phase == AppState::Phase::needs;
}

} // namespace

History::History(AppModel &model) : model_(model)
{
    record();
    for (const auto signal :
         {&AppModel::stateChanged, &AppModel::stepTextChanged, &AppModel::detailChanged,
          &AppModel::progressChanged, &AppModel::workChanged}) {
        connect(&model, signal, this, &History::record);
    }
}

bool History::advance(const Condition &condition)
{
    while (!condition(moments_.front())) {
        if (moments_.size() == 1) {
            return false;
        }
        const bool needed = isNeeding(moments_.front());
        moments_.pop_front();
        const Moment &next = moments_.front();
        if (!needed && isNeeding(next) && !condition(next)) {
            throw std::runtime_error("the launcher says: " + next.state.text.toStdString());
        }
    }
    return true;
}

void History::record()
{
    moments_.push_back({model_.state(), model_.stepText(), model_.detail(), model_.progress(),
                        model_.work() != nullptr});
    ++size_;
}

} // namespace brindle
