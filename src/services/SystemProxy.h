#pragma once

#include <QByteArray>
#include <QUrl>

namespace brindle {

/// The system's proxy settings, as libcurl takes them.
struct SystemProxy
{
    QByteArray address; ///< "scheme://host:port", empty for none
    QByteArray user;
    QByteArray password;

    /// The proxy for a request of `url`, by QNetworkProxyFactory::systemProxyForQuery. May block
    /// for long where the settings name a script: worker threads only.
    static SystemProxy forUrl(const QUrl &url);
};

} // namespace brindle
