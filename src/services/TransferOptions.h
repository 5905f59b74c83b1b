#pragma once

#include <QString>

#include <chrono>

namespace brindle {

/// What a transfer's owner may set. The defaults are what players get.
struct TransferOptions
{
    /// A transfer fails when nothing has arrived for this long, from its start on.
    std::chrono::milliseconds idleTimeout = std::chrono::seconds(60);
    /// A PEM file of certificates to trust in place of the system's; empty for the system's.
    QString caFile;
};

} // namespace brindle
