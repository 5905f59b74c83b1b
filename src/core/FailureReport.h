#pragma once

#include <QString>
#include <QStringList>

namespace brindle {

/// A failed game run as it is shown to the user. A plain value.
struct FailureReport
{
    QString summary;   ///< one or two sentences: what went wrong, and a hint
    QStringList lines; ///< the last lines of the log

    bool operator==(const FailureReport &) const = default;
};

} // namespace brindle
