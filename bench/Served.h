#pragma once

#include <QProcess>
#include <QString>
#include <QUrl>

namespace brindle {

/// A folder's files served over HTTP on loopback by a process of its own, so that the server's
/// memory and time are not the measured program's.
class Served
{
public:
    /// Starts the server; throws std::runtime_error when it does not come up.
    /// @param certificate if not empty, it serves over TLS, and writes there whom to trust.
    explicit Served(const QString &folder, const QString &certificate = {});
    ~Served();
    Served(const Served &) = delete;
    Served &operator=(const Served &) = delete;

    /// The server's address, without a trailing slash.
    QUrl url() const { return url_; }

private:
    QProcess process_;
    QUrl url_;
};

} // namespace brindle
