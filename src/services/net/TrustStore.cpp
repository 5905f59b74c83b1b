#include "net/TrustStore.h"

#include <QFileInfo>

namespace brindle {

QStringList TrustStore::places()
{
    return {QStringLiteral("/etc/ssl/certs/ca-certificates.crt"), // Debian, Arch Linux
            QStringLiteral("/etc/pki/tls/certs/ca-bundle.crt"),   // Fedora
            QStringLiteral("/etc/ssl/ca-bundle.pem"),             // openSUSE
            QStringLiteral("/etc/ssl/cert.pem")};                 // Alpine Linux, macOS
}

QString TrustStore::file(const QString &builtIn, const QStringList &others)
{
    for (const QString &place : QStringList{builtIn} + others) {
        if (!place.isEmpty() && QFileInfo(place).isReadable()) {
            return place;
        }
    }
    return {};
}

} // namespace brindle
