#pragma once

#include <QString>
#include <QUrl>

#include <sys/types.h>

namespace brindle {

/// Serves a folder's files over HTTP on loopback, each after a redirect to a second server, as a
/// release page does. A forked process serves them, so that the measured program's memory and time
/// are its own.
class Served
{
public:
    /// Serves over TLS if `certificate` is not empty, and writes there the certificate to trust.
    /// Call before the program has a second thread. Throws std::runtime_error.
    explicit Served(const QString &folder, const QString &certificate = {});
    ~Served();
    Served(const Served &) = delete;
    Served &operator=(const Served &) = delete;

    /// Returns the server's address, without a trailing slash.
    QUrl url() const { return url_; }

private:
    pid_t process_ = -1;
    QUrl url_;
};

} // namespace brindle
