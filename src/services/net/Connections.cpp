#include "net/Connections.h"

#include <mutex>
#include <utility>
#include <vector>

namespace brindle {

namespace {

constexpr long maxConnections = 8; // a Play asks three hosts

struct Pool
{
    std::mutex lock; // guards the rest
    int keepers = 0;
    std::vector<Connections::Handle> idle;
};

/// Never destroyed: a transfer that hangs may end after the destruction of static objects.
Pool &pool()
{
    static auto *const only = new Pool;
    return *only;
}

void addKeepers(int count)
{
    const std::lock_guard guard(pool().lock);
    pool().keepers += count;
    if (pool().keepers == 0) {
        pool().idle.clear();
    }
}

} // namespace

Connections::Handle Connections::take()
{
    const std::lock_guard guard(pool().lock);
    if (pool().idle.empty()) {
        Handle handle(curl_multi_init(), &curl_multi_cleanup);
        curl_multi_setopt(handle.get(), CURLMOPT_MAXCONNECTS, maxConnections);
        return handle;
    }
    Handle last = std::move(pool().idle.back());
    pool().idle.pop_back();
    return last;
}

void Connections::giveBack(Handle handle)
{
    const std::lock_guard guard(pool().lock);
    if (pool().keepers > 0) {
        pool().idle.push_back(std::move(handle));
    }
}

std::shared_ptr<void> Connections::keep()
{
    addKeepers(1);
    return {nullptr, [](void *) { addKeepers(-1); }};
}

} // namespace brindle
