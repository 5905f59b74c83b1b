#pragma once

#include <QList>
#include <QtGlobal>

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace brindle {

/// Returns the descriptors of this process's connections to a port of this machine.
inline QList<int> connectionsTo(quint16 port)
{
    QList<int> found;
    const long most = ::sysconf(_SC_OPEN_MAX);
    for (int descriptor = 0; descriptor < most; ++descriptor) {
        sockaddr_in peer = {};
        socklen_t size = sizeof peer;
        if (::getpeername(descriptor, reinterpret_cast<sockaddr *>(&peer), &size) == 0 &&
            peer.sin_family == AF_INET && ntohs(peer.sin_port) == port) {
            found << descriptor;
        }
    }
    return found;
}

} // namespace brindle
