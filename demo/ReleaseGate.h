#pragma once

#include "http/HttpServer.h"

#include <atomic>

namespace brindle {

/// Holds answers back until it is opened, so that a test can act at a known point of a transfer.
/// Any thread.
class ReleaseGate
{
public:
    /// @param afterBytes how much of the body is sent first; 0 holds back its head as well.
    explicit ReleaseGate(qint64 afterBytes) : afterBytes_(afterBytes) {}

    qint64 afterBytes() const { return afterBytes_; }
    /// Whether an answer has come this far: everything before the gate has been handed to the
    /// system for sending.
    bool isReached() const { return reached_; }
    /// Lets answers through from now on.
    void open() { open_ = true; }

    /// Waits on a connection's thread; false when the client is gone or the server stops.
    bool pass(HttpConnection &connection);

private:
    const qint64 afterBytes_;
    std::atomic<bool> reached_ = false;
    std::atomic<bool> open_ = false;
};

} // namespace brindle
