#pragma once

#include "../services/TestCertificate.h"
#include "demo/ReleaseHost.h"

#include <QTemporaryDir>

#include <memory>

namespace brindle {

/// Stands in for the outside world: serves the code host's real names over TLS, with a game, its
/// add-on and an engine. Works inside namespaces only.
class Stage
{
public:
    /// Throws std::runtime_error.
    Stage();

    enum class Certificate { good, untrusted, expired, wrongSecondHost };
    /// Restarts the host with this certificate.
    void open(Certificate certificate = Certificate::good);
    ReleaseHost &host() { return *host_; }

    /// Offers the sample game; `behaviour` is its "sample-engine.ini".
    void offerGame(const QByteArray &behaviour);

    static QString addonPath();
    static QString checksumPath();
    static QString enginePath();
    /// Returns the bytes of the engine's archive.
    qint64 engineSize() const { return engine_.size(); }

private:
    QString file(const QString &name) const { return folder_.filePath(name); }

    QTemporaryDir folder_;
    QMap<Certificate, TestCertificate> certificates_;
    QByteArray addon_;  // the archive
    QByteArray engine_; // the archive
    std::unique_ptr<ReleaseHost> host_;
};

} // namespace brindle
