#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QUrl>

/// Rules for addresses, for continuing a body, for proxies and certificates. Any thread.
namespace brindle::HttpRules {

/// Returns whether `url` asks for an unencrypted transfer with another machine. This machine means
/// 127.0.0.0/8, ::1 and "localhost", which libcurl never looks up (RFC 6761, section 6.3).
bool isInsecure(const QUrl &url);

/// Returns the address that `location` names in an answer of `from`. Throws TransferError for
/// schemes other than http and https, from https to http, and for an insecure address.
QUrl redirectTarget(const QUrl &from, const QByteArray &location);

/// Returns the value for If-Range (RFC 9110, section 13.1.5) for an answer with these two headers:
/// the entity tag. Empty if the server serves no ranges, or if the tag can't tell two versions
/// apart.
QByteArray validator(const QByteArray &acceptRanges, const QByteArray &entityTag);

/// Returns the first proxy that the system's settings name for `url`, as an address for libcurl.
/// Empty for a direct connection, and if libcurl can't use that kind of proxy. May block for long
/// where the settings name a script: worker threads only.
QByteArray proxyFor(const QUrl &url);

/// The files in which today's systems keep the certificates that they trust.
QStringList certificateFiles();

/// Returns `builtIn`, libcurl's own choice, if that file is readable, else the first of `others`
/// that is; empty if none is. A libcurl built for another system may choose a file that does not
/// exist here. Reads the file system; any thread.
QString certificateFile(const QString &builtIn, const QStringList &others = certificateFiles());

} // namespace brindle::HttpRules
