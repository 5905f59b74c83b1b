#include "net/PlainHttp.h"

#include <QHostAddress>

namespace brindle {

bool PlainHttp::isInsecure(const QUrl &url)
{
    // QUrl writes schemes and host names in lower case.
    if (url.scheme() != QLatin1String("http")) {
        return false;
    }
    const QString host = url.host();
    return host != QLatin1String("localhost") && !QHostAddress(host).isLoopback();
}

} // namespace brindle
