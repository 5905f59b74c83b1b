#pragma once

#include <QString>
#include <QUrl>

#include <sys/types.h>

namespace brindle {

/// Serves an engine's archive like the release host. Runs in a forked process, which keeps its
/// memory and time out of the measurement.
class Served
{
public:
    /// If `certificate` is not empty, serves over TLS and writes the server's certificate to that
    /// file. Call before the program has a second thread. Throws std::runtime_error.
    explicit Served(const QString &archive, const QString &certificate = {});
    ~Served();
    Served(const Served &) = delete;
    Served &operator=(const Served &) = delete;

    /// Returns the host's address, without a trailing slash.
    QUrl url() const { return url_; }
    /// Returns the archive's address.
    QUrl archive() const;

    inline static const QString tag = QStringLiteral("4.3-stable");
    /// Returns the archive's name on the host.
    static QString name();

private:
    pid_t process_ = -1;
    QUrl url_;
};

} // namespace brindle
