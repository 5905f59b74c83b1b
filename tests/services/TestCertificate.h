#pragma once

#include <QByteArray>
#include <QSslConfiguration>

namespace brindle {

/// A fresh self-signed certificate for 127.0.0.1, valid for an hour either way.
struct TestCertificate
{
    QByteArray certificate; ///< PEM
    QByteArray key;         ///< PEM

    /// Throws std::runtime_error.
    static TestCertificate make();

    /// For a server that shows it.
    QSslConfiguration serverConfiguration() const;
};

} // namespace brindle
