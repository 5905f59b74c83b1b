#pragma once

#include <QByteArray>
#include <QList>
#include <QUrl>

namespace brindle {

/// One way that the system's settings allow to a server, as libcurl takes it.
struct SystemProxy
{
    QByteArray address; ///< "scheme://host:port", empty for the way without one
    QByteArray user;
    QByteArray password;

    /// The ways to `url` in the order in which to try them, by
    /// QNetworkProxyFactory::systemProxyForQuery; at least one. May block for long where the
    /// settings name a script: worker threads only.
    static QList<SystemProxy> forUrl(const QUrl &url);
};

} // namespace brindle
