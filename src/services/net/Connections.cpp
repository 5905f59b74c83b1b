#include "net/Connections.h"

#include <fcntl.h>
#include <unistd.h>

#include <mutex>
#include <utility>

namespace brindle {

namespace {

constexpr long maxConnections = 8; // a Play asks three hosts

struct Pool
{
    std::mutex lock; // guards the rest
    int keepers = 0;
    std::vector<std::unique_ptr<Connections>> idle;
};

/// Never destroyed: a transfer that hangs may end after the destruction of static objects.
Pool &pool()
{
    static auto *const only = new Pool;
    return *only;
}

} // namespace

std::unique_ptr<Connections> Connections::take()
{
    const std::lock_guard guard(pool().lock);
    if (pool().idle.empty()) {
        return std::make_unique<Connections>();
    }
    auto last = std::move(pool().idle.back());
    pool().idle.pop_back();
    return last;
}

void Connections::giveBack(std::unique_ptr<Connections> connections)
{
    const std::lock_guard guard(pool().lock);
    if (pool().keepers > 0) {
        pool().idle.push_back(std::move(connections));
    }
}

std::shared_ptr<void> Connections::keep()
{
    const auto add = [](int keepers) {
        const std::lock_guard guard(pool().lock);
        pool().keepers += keepers;
        if (pool().keepers == 0) {
            pool().idle.clear();
        }
    };
    add(1);
    return {nullptr, [add](void *) { add(-1); }};
}

Connections::Connections()
{
    curl_multi_setopt(handle(), CURLMOPT_MAXCONNECTS, maxConnections);
}

void Connections::watch(CURL *easy)
{
    curl_easy_setopt(easy, CURLOPT_SOCKOPTFUNCTION, &opened);
    curl_easy_setopt(easy, CURLOPT_SOCKOPTDATA, this);
    curl_easy_setopt(easy, CURLOPT_CLOSESOCKETFUNCTION, &closed);
    curl_easy_setopt(easy, CURLOPT_CLOSESOCKETDATA, this);
}

bool Connections::isReadable()
{
    return ::poll(sockets_.data(), static_cast<nfds_t>(sockets_.size()), 0) != 0;
}

int Connections::opened(void *self, curl_socket_t socket, curlsocktype /*purpose*/) noexcept
{
    static_cast<Connections *>(self)->sockets_.push_back({socket, POLLIN, 0});
    // Programs that are started while connections are kept must not inherit them.
    return ::fcntl(socket, F_SETFD, FD_CLOEXEC) == 0 ? CURL_SOCKOPT_OK : CURL_SOCKOPT_ERROR;
}

int Connections::closed(void *self, curl_socket_t socket) noexcept
{
    std::erase_if(static_cast<Connections *>(self)->sockets_,
                  [socket](const pollfd &each) { return each.fd == socket; });
    return ::close(socket);
}

} // namespace brindle
