#pragma once

#include <QPointer>
#include <QString>

#include <memory>

namespace brindle {

class AppModel;
struct Work;

/// How worker code reports a step headline of the run that it was made in. Never keeps the model
/// alive. Made on the main thread, used and copied on any.
class StatusBox
{
public:
    explicit StatusBox(AppModel *model);

    /// Makes the text the headline of a running download, on the main thread, in the order of the
    /// calls; does nothing when the model is gone or the run has ended by then. Any thread.
    void set(const QString &text) const;

private:
    QPointer<AppModel> model_;
    std::shared_ptr<Work> run_;
};

} // namespace brindle
