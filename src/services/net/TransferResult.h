#pragma once

#include <QByteArray>
#include <QString>

namespace brindle {

/// What a finished transfer tells about the answer. `body` is filled by memory transfers only.
struct TransferResult
{
    int status = 0; ///< HTTP status of the last answer
    QString host;   ///< host that finally answered, after redirects; may be empty
    QByteArray body;
};

} // namespace brindle
