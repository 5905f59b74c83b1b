#pragma once

#include <QPointer>
#include <QString>

namespace brindle {

class AppModel;

/// How worker code reports a step headline. Never keeps the model alive. Made on the main thread,
/// used and copied on any.
class StatusBox
{
public:
    explicit StatusBox(AppModel *model);

    /// Makes the text the headline of a running download, on the main thread, in the order of the
    /// calls; does nothing when the model is gone by then. Any thread.
    void set(const QString &text) const;

private:
    QPointer<AppModel> model_;
};

} // namespace brindle
