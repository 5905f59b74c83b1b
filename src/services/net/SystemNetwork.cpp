#include "net/SystemNetwork.h"

#include <QFileInfo>
#include <QNetworkProxyFactory>

#include <algorithm>

namespace brindle {

using namespace Qt::StringLiterals;

SystemNetwork::Proxy SystemNetwork::proxyFor(const QUrl &url)
{
    const auto proxy = QNetworkProxyFactory::systemProxyForQuery(QNetworkProxyQuery(url)).value(0);
    QUrl address;
    switch (proxy.type()) {
    case QNetworkProxy::HttpProxy:
    case QNetworkProxy::HttpCachingProxy:
        address.setScheme(u"http"_s);
        break;
    case QNetworkProxy::Socks5Proxy:
        address.setScheme(u"socks5h"_s); // with "h" the proxy looks up the host name
        break;
    default:
        return {};
    }
    address.setHost(proxy.hostName());
    address.setPort(proxy.port());
    return {address.toEncoded(), proxy.user().toUtf8(), proxy.password().toUtf8()};
}

QStringList SystemNetwork::certificateFiles()
{
    return {u"/etc/ssl/certs/ca-certificates.crt"_s, // Debian, Arch Linux
            u"/etc/pki/tls/certs/ca-bundle.crt"_s,   // Fedora
            u"/etc/ssl/ca-bundle.pem"_s,             // openSUSE
            u"/etc/ssl/cert.pem"_s};                 // Alpine Linux, macOS
}

QString SystemNetwork::certificateFile(const QString &builtIn, const QStringList &others)
{
    const QStringList files = QStringList{builtIn} + others;
    const auto found = std::find_if(files.begin(), files.end(), [](const QString &file) {
        return QFileInfo(file).isReadable();
    });
    return found == files.end() ? QString() : *found;
}

} // namespace brindle
