#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QUrl>

/// The system's settings of the network.
namespace brindle::SystemNetwork {

/// A proxy in libcurl's terms.
struct Proxy
{
    QByteArray address; ///< "scheme://host:port"; empty for a direct connection
    QByteArray user;
    QByteArray password;
};

/// Returns the first proxy that the system's settings name for `url`; a direct connection if that
/// proxy is of a kind that libcurl can't use. May block for long where the settings name a script:
/// worker threads only.
Proxy proxyFor(const QUrl &url);

/// The files in which today's systems keep the certificates that they trust.
QStringList certificateFiles();

/// Returns `builtIn`, libcurl's own choice, if that file is readable, else the first of `others`
/// that is; empty if none is. A libcurl built for another system may choose a file that does not
/// exist here. Reads the file system; any thread.
QString certificateFile(const QString &builtIn, const QStringList &others = certificateFiles());

} // namespace brindle::SystemNetwork
