#include "core/StatusBox.h"

#include "core/AppModel.h"

#include <QCoreApplication>

namespace brindle {

StatusBox::StatusBox(AppModel *model) : model_(model), run_(model->work()) {}

void StatusBox::set(const QString &text) const
{
    QMetaObject::invokeMethod(
        QCoreApplication::instance(),
        [model = model_, run = run_, text] {
            if (!model || model->work() != run) {
                return;
            }
            model->stepText = text;
            model->state = AppState::downloading(text);
            model->progress = std::nullopt;
        },
        Qt::QueuedConnection);
}

} // namespace brindle
