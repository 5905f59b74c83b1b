#pragma once

#include <QByteArray>
#include <QSslConfiguration>

namespace brindle {

/// A fresh certificate: signed by itself, or by an authority, which is a self-signed one.
struct TestCertificate
{
    struct Options
    {
        QByteArray names = "IP:127.0.0.1"; ///< as OpenSSL's subjectAltName has it
        long from = -3600;                 ///< seconds from now
        long until = 3600;
        QByteArray subject = "loopback";            ///< not the authority's
        const TestCertificate *authority = nullptr; ///< none: signed by itself
    };

    QByteArray certificate; ///< PEM
    QByteArray key;         ///< PEM

    /// Throws std::runtime_error.
    static TestCertificate make(const Options &options);
    static TestCertificate make() { return make(Options()); }

    /// Writes it where a client can be told to trust it. Throws std::runtime_error.
    void save(const QString &file) const;

    /// For a server that shows it.
    QSslConfiguration serverConfiguration() const;
};

} // namespace brindle
