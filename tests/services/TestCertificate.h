#pragma once

#include <QByteArray>
#include <QSslConfiguration>

namespace brindle {

/// A new certificate, self-signed or signed by a self-signed authority.
struct TestCertificate
{
    struct Options
    {
        QByteArray names = "IP:127.0.0.1"; ///< in the form of OpenSSL's subjectAltName
        long from = -3600;                 ///< seconds from now
        long until = 3600;
        QByteArray subject = "loopback";            ///< the certificate's own name
        const TestCertificate *authority = nullptr; ///< null: self-signed
    };

    QByteArray certificate; ///< PEM
    QByteArray key;         ///< PEM

    /// Makes a certificate. Throws std::runtime_error.
    static TestCertificate make(const Options &options);
    static TestCertificate make() { return make(Options()); }

    /// Writes the certificate to a file for clients to trust. Throws std::runtime_error.
    void save(const QString &file) const;

    /// Returns the configuration of a server with this certificate.
    QSslConfiguration serverConfiguration() const;
};

} // namespace brindle
