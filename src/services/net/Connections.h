#pragma once

#include <curl/curl.h>

#include <poll.h>

#include <memory>
#include <vector>

namespace brindle {

/// A libcurl multi handle with the connections that it keeps. One thread at a time: threads can't
/// share connections.
class Connections
{
public:
    /// Returns kept connections that no transfer uses, or none yet. Any thread.
    static std::unique_ptr<Connections> take();
    /// Keeps connections for the next `take`, or closes them. Any thread.
    static void giveBack(std::unique_ptr<Connections> connections);
    /// Has connections kept until the returned object is destroyed. Any thread.
    static std::shared_ptr<void> keep();

    Connections();
    Connections(const Connections &) = delete;
    Connections &operator=(const Connections &) = delete;

    CURLM *handle() const { return handle_.get(); }

    /// Watches the sockets that `easy` opens from now on.
    void watch(CURL *easy);

    /// Whether a socket has something to read. Between requests that is the end of a connection, or
    /// bytes that follow an answer: neither connection is fit for another request.
    bool isReadable();

private:
    static int opened(void *self, curl_socket_t socket, curlsocktype purpose) noexcept;
    static int closed(void *self, curl_socket_t socket) noexcept;

    std::vector<pollfd> sockets_; // declared before the handle, which closes them
    std::unique_ptr<CURLM, CURLMcode (*)(CURLM *)> handle_{curl_multi_init(), &curl_multi_cleanup};
};

} // namespace brindle
