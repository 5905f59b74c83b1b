#pragma once

#include "../services/TestCertificate.h"
#include "demo/ReleaseHost.h"

#include <QFileInfo>
#include <QTemporaryDir>

#include <memory>

namespace brindle {

/// Everything that the shipped program meets outside: the code host under its real names, over
/// TLS, with a game, its add-on and an engine. To be made inside namespaces of the test's own.
class Stage
{
public:
    /// Throws std::runtime_error.
    Stage();

    /// Which certificate the host shows.
    enum class Certificate { good, untrusted, selfSigned, expired, wrongHost, wrongSecondHost };
    /// (Re)starts the host, with that certificate and the offers that were made, and nothing else.
    void open(Certificate certificate = Certificate::good);

    /// Offers the sample game; `behaviour` is its "sample-engine.ini".
    void offerGame(const QByteArray &behaviour);

    ReleaseHost &host() { return *host_; }
    /// What the host is asked for besides the game itself.
    static QString addonPath();
    static QString checksumPath();
    static QString enginePath();
    /// The bytes of the engine's archive.
    qint64 engineSize() const { return QFileInfo(file(QStringLiteral("engine.zip"))).size(); }

private:
    QString file(const QString &name) const { return folder_.filePath(name); }
    void write(const QString &name, const QByteArray &content) const;

    QTemporaryDir folder_;
    QMap<Certificate, TestCertificate> certificates_;
    std::unique_ptr<ReleaseHost> host_;
};

} // namespace brindle
