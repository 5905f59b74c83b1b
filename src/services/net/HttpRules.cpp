#include "net/HttpRules.h"

#include "base/Error.h"

#include <QFileInfo>
#include <QHostAddress>
#include <QNetworkProxyFactory>

#include <algorithm>

namespace brindle {

using namespace Qt::StringLiterals;

bool HttpRules::isInsecure(const QUrl &url)
{
    // QUrl writes schemes and host names in lower case.
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
    const QByteArray tag = entityTag.trimmed();
    const bool isStrong = tag.size() >= 2 && tag.startsWith('"') && tag.endsWith('"');
    return isStrong && acceptRanges.trimmed().toLower() == "bytes" ? tag : QByteArray();
}

QByteArray HttpRules::proxyFor(const QUrl &url)
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
    const QStringList files = QStringList{builtIn} + others;
    const auto found = std::find_if(files.begin(), files.end(), [](const QString &file) {
        return QFileInfo(file).isReadable();
    });
    return found == files.end() ? QString() : *found;
}

} // namespace brindle
