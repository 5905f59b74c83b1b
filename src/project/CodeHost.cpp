#include "project/CodeHost.h"

namespace brindle {

using namespace Qt::StringLiterals;

std::optional<QUrl> CodeHost::address(const QUrl &base, const QString &path)
{
    if (!base.isValid() || base.host().isEmpty()) {
        return std::nullopt;
    }
    QUrl url = base;
    url.setPath(path);
    return url;
}

std::optional<QUrl> CodeHost::repositoryArchive(const QUrl &base, const QString &repository)
{
    constexpr QStringView ending = u".git";
    QString text = repository;
    if (text.endsWith(ending)) {
        text.chop(ending.size());
    }
    const QUrl url(text, QUrl::StrictMode);
    // QUrl makes the host lower-case, so compare the host as written, too.
    const QString authority = text.section(u'/', 2, 2);
    const QString writtenHost = authority.section(u'@', -1).section(u':', 0, 0);
    // Let http pass, because the transfer rejects it with a better message.
    const bool isFetched = url.scheme() == u"https" || url.scheme() == u"http";
    if (!isFetched || url.host() != base.host() || writtenHost != base.host()) {
        return std::nullopt;
    }
    return QUrl(text + u"/archive/HEAD.zip"_s, QUrl::StrictMode);
}

} // namespace brindle
