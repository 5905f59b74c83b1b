#include "net/HttpRules.h"

#include "base/Error.h"

#include <QFileInfo>
#include <QHostAddress>
#include <QNetworkProxyFactory>

namespace brindle {

using namespace Qt::StringLiterals;

bool HttpRules::isInsecure(const QUrl &url)
{
    // QUrl has made scheme and host name lower-case.
    return url.scheme() == u"http" && url.host() != u"localhost" &&
           !QHostAddress(url.host()).isLoopback();
}

QUrl HttpRules::redirectTarget(const QUrl &from, const QByteArray &location)
{
    QUrl to = from.resolved(QUrl::fromEncoded(location));
    const bool isSecure = to.scheme() == u"https";
    if (!to.isValid() || !(isSecure || to.scheme() == u"http")) {
        throw TransferError(u"The server redirected to an address that can't be used."_s);
    }
    if (isInsecure(to) || (!isSecure && from.scheme() == u"https")) {
        throw TransferError(u"The server redirected to an insecure address (plain http), which was "
                            "not followed."_s);
    }
    return to;
}

QByteArray HttpRules::validator(const QByteArray &acceptRanges, const QByteArray &entityTag)
{
    const bool isStrong =
        entityTag.size() >= 2 && entityTag.startsWith('"') && entityTag.endsWith('"');
    return isStrong && acceptRanges.toLower() == "bytes" ? entityTag : QByteArray();
}

QByteArray HttpRules::proxyFor(const QUrl &url)
{
    const auto proxy = QNetworkProxyFactory::systemProxyForQuery(QNetworkProxyQuery(url)).value(0);
    const bool isSocks = proxy.type() == QNetworkProxy::Socks5Proxy;
    if (!isSocks && proxy.type() != QNetworkProxy::HttpProxy &&
        proxy.type() != QNetworkProxy::HttpCachingProxy) {
        return {};
    }
    QUrl address;
    address.setScheme(isSocks ? u"socks5h"_s : u"http"_s); // with "h" the proxy looks up names
    address.setHost(proxy.hostName());
    address.setPort(proxy.port());
    address.setUserName(proxy.user());
    address.setPassword(proxy.password());
    return address.toEncoded();
}

QStringList HttpRules::certificateFiles()
{
    return {u"/etc/ssl/certs/ca-certificates.crt"_s, // Debian, Arch Linux
            u"/etc/pki/tls/certs/ca-bundle.crt"_s,   // Fedora
            u"/etc/ssl/ca-bundle.pem"_s,             // openSUSE
            u"/etc/ssl/cert.pem"_s};                 // Alpine Linux, macOS
}

QString HttpRules::certificateFile(const QString &builtIn, const QStringList &others)
{
    for (const QString &file : QStringList{builtIn} + others) {
        if (QFileInfo(file).isReadable()) {
            return file;
        }
    }
    return {};
}

} // namespace brindle
