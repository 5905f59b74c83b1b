#include "core/StatusBox.h"

#include "core/AppModel.h"

#include <QCoreApplication>

namespace brindle {

StatusBox::StatusBox(AppModel *model) : model_(model) {}

void StatusBox::set(const QString &text) const
{
    QMetaObject::invokeMethod(
        QCoreApplication::instance(),
        [model = model_, text] {
            if (!model) {
                return;
            }
            model->stepText = text;
            model->state = AppState::downloading(text);
            model->progress = std::nullopt;
        },
        Qt::QueuedConnection);
}

} // namespace brindle
