#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>
#include <QUrl>

/// What this system's settings say about the network.
namespace brindle::SystemNetwork {

/// One way that the settings allow to a server, as libcurl takes it.
struct Proxy
{
    QByteArray address; ///< "scheme://host:port", empty for the way without one
    QByteArray user;
    QByteArray password;
};

/// The ways to `url` in the order in which to try them, by
/// QNetworkProxyFactory::systemProxyForQuery; at least one. May block for long where the settings
/// name a script: worker threads only.
QList<Proxy> proxiesFor(const QUrl &url);

/// The places where today's systems keep the certificates that they trust.
QStringList certificateFiles();

/// `builtIn`, where libcurl looks by itself, when it is there, else the first of `others` that is;
/// empty when none is. A libcurl that came from elsewhere looks where its own system has them,
/// which may not be here. Any thread; looks at the disk.
QString certificateFile(const QString &builtIn, const QStringList &others = certificateFiles());

} // namespace brindle::SystemNetwork
