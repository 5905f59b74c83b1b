#include "project/CodeHost.h"

#include <QRegularExpression>

namespace brindle {

namespace {

std::optional<QUrl> validAddress(const QString &text)
{
    QUrl url(text, QUrl::StrictMode);
    if (!url.isValid() || url.host().isEmpty()) {
        return std::nullopt;
    }
    return url;
}

/// The host as it stands in the text: QUrl changes it to lower case, which would hide a difference.
QString writtenHost(const QString &address)
{
    // Scheme, "//", user, then the host up to the port or the end of the authority (RFC 3986).
    static const QRegularExpression authority(QStringLiteral(
        R"(\A(?:[A-Za-z][A-Za-z0-9+.-]*:)?//(?:[^/?#@]*@)?(\[[^\]/?#@]*\]|[^:/?#@]*))"
        R"((?::[0-9]*)?(?:[/?#]|\z))"));
    return authority.match(address).captured(1);
}

} // namespace

std::optional<QUrl> CodeHost::address(const QUrl &base, const QString &path)
{
    QString start = base.toString(QUrl::FullyEncoded);
    while (start.endsWith(QLatin1Char('/'))) {
        start.chop(1);
    }
    return validAddress(start + path);
}

std::optional<QUrl> CodeHost::repositoryArchive(const QUrl &base, const QString &repository)
{
    constexpr QStringView ending = u".git";
    QString text = repository;
    if (text.endsWith(ending)) {
        text.chop(ending.size());
    }
    const std::optional<QUrl> url = validAddress(text);
    // What can't be fetched is refused before it is tried. Of plain http the transfer has more to
    // say.
    const bool isFetched = url && (url->scheme() == u"https" || url->scheme() == u"http");
    // Both readings of the text must name the host: no address that is read in two ways passes.
    if (!isFetched || url->host() != base.host() || writtenHost(text) != base.host()) {
        return std::nullopt;
    }
    return validAddress(text + QStringLiteral("/archive/HEAD.zip"));
}

} // namespace brindle
