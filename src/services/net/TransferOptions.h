#pragma once

#include <QString>

#include <chrono>

namespace brindle {

/// What a transfer's owner may set. The defaults are what players get.
struct TransferOptions
{
    /// A transfer fails when nothing has arrived for this long. Finding out about proxies does not
    /// count, and each of them is given that long to open a way to the server.
    std::chrono::milliseconds idleTimeout = std::chrono::seconds(60);
    /// A PEM file of certificates to trust in place of the system's; empty for the system's.
    QString caFile;
    /// A body of more bytes is a failure. No archive of a game or an add-on comes near it.
    qint64 limit = 8LL * 1024 * 1024 * 1024;
};

} // namespace brindle
