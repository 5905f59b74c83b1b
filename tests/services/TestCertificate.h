#pragma once

#include <QByteArray>
#include <QSslConfiguration>

namespace brindle {

/// A fresh self-signed certificate.
struct TestCertificate
{
    struct Options
    {
        QByteArray names = "IP:127.0.0.1"; ///< as OpenSSL's subjectAltName has it
        long from = -3600;                 ///< seconds from now
        long until = 3600;
    };

    QByteArray certificate; ///< PEM
    QByteArray key;         ///< PEM

    /// Throws std::runtime_error.
    static TestCertificate make(const Options &options);
    static TestCertificate make() { return make(Options()); }

    /// For a server that shows it.
    QSslConfiguration serverConfiguration() const;
};

} // namespace brindle
