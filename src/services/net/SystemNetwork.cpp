#include "net/SystemNetwork.h"

#include <QFileInfo>
#include <QNetworkProxyFactory>

namespace brindle {

QList<SystemNetwork::Proxy> SystemNetwork::proxiesFor(const QUrl &url)
{
    QList<Proxy> ways;
    const auto proxies = QNetworkProxyFactory::systemProxyForQuery(QNetworkProxyQuery(url));
    for (const QNetworkProxy &proxy : proxies) {
        QString scheme;
        switch (proxy.type()) {
        case QNetworkProxy::NoProxy:
            ways.append(Proxy());
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
    return ways.isEmpty() ? QList{Proxy()} : ways;
}

QStringList SystemNetwork::certificateFiles()
{
    return {QStringLiteral("/etc/ssl/certs/ca-certificates.crt"), // Debian, Arch Linux
            QStringLiteral("/etc/pki/tls/certs/ca-bundle.crt"),   // Fedora
            QStringLiteral("/etc/ssl/ca-bundle.pem"),             // openSUSE
            QStringLiteral("/etc/ssl/cert.pem")};                 // Alpine Linux, macOS
}

QString SystemNetwork::certificateFile(const QString &builtIn, const QStringList &others)
{
    for (const QString &place : QStringList{builtIn} + others) {
        if (!place.isEmpty() && QFileInfo(place).isReadable()) {
            return place;
        }
    }
    return {};
}

} // namespace brindle
