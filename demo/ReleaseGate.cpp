#include "demo/ReleaseGate.h"

namespace brindle {

bool ReleaseGate::pass(HttpConnection &connection)
{
    constexpr std::chrono::milliseconds lookEvery(10);
    reached_ = true;
    while (!open_) {
        // Not a condition variable: this also notices that the client has gone.
        if (!connection.pause(lookEvery)) {
            return false;
        }
    }
    return true;
}

} // namespace brindle
