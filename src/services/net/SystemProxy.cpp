#include "net/SystemProxy.h"

#include <QNetworkProxyFactory>

namespace brindle {

QList<SystemProxy> SystemProxy::forUrl(const QUrl &url)
{
    QList<SystemProxy> ways;
    const auto proxies = QNetworkProxyFactory::systemProxyForQuery(QNetworkProxyQuery(url));
    for (const QNetworkProxy &proxy : proxies) {
        QString scheme;
        switch (proxy.type()) {
        case QNetworkProxy::NoProxy:
            ways.append(SystemProxy());
            continue;
        case QNetworkProxy::HttpProxy:
        case QNetworkProxy::HttpCachingProxy:
            scheme = QStringLiteral("http");
            break;
        case QNetworkProxy::Socks5Proxy:
            // With an "h" the proxy looks the name up, which is what it is there for.
            scheme = proxy.capabilities().testFlag(QNetworkProxy::HostNameLookupCapability)
                         ? QStringLiteral("socks5h")
                         : QStringLiteral("socks5");
            break;
        default:
            continue;
        }
        QUrl address;
        address.setScheme(scheme);
        address.setHost(proxy.hostName());
        address.setPort(proxy.port());
        ways.append({address.toEncoded(), proxy.user().toUtf8(), proxy.password().toUtf8()});
    }
    return ways.isEmpty() ? QList{SystemProxy()} : ways;
}

} // namespace brindle
