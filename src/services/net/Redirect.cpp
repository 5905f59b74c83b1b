#include "net/Redirect.h"

#include "base/Error.h"
#include "net/PlainHttp.h"

#include <curl/curl.h>

#include <memory>

namespace brindle {

namespace {

struct UrlCleanup
{
    void operator()(CURLU *url) const { curl_url_cleanup(url); }
};

QUrl resolved(const QUrl &base, const QByteArray &location)
{
    const std::unique_ptr<CURLU, UrlCleanup> url(curl_url());
    char *text = nullptr;
    if (!url ||
        curl_url_set(url.get(), CURLUPART_URL, base.toEncoded().constData(), 0) != CURLUE_OK ||
        curl_url_set(url.get(), CURLUPART_URL, location.constData(), CURLU_URLENCODE) !=
            CURLUE_OK ||
        curl_url_get(url.get(), CURLUPART_URL, &text, 0) != CURLUE_OK) {
        return {};
    }
    QUrl result = QUrl::fromEncoded(text);
    curl_free(text);
    return result;
}

bool hasScheme(const QUrl &url, QLatin1String scheme)
{
    return url.scheme().compare(scheme, Qt::CaseInsensitive) == 0;
}

void check(const QUrl &from, const QUrl &to)
{
    const bool secure = hasScheme(to, QLatin1String("https"));
    if (!to.isValid() || !(secure || hasScheme(to, QLatin1String("http")))) {
        throw TransferError(
            QStringLiteral("The server redirected to an address that can't be used."));
    }
    if (PlainHttp::isInsecure(to) || (!secure && hasScheme(from, QLatin1String("https")))) {
        throw TransferError(QStringLiteral("The server redirected to an insecure address (plain "
                                           "http), which was not followed."));
    }
}

} // namespace

bool Redirect::isRedirectStatus(int status)
{
    return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

QUrl Redirect::target(const QUrl &from, const QByteArray &location)
{
    const QUrl to = resolved(from, location);
    check(from, to);
    return to;
}

} // namespace brindle
