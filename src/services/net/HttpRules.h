#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QUrl>

/// Rules for addresses, continued bodies, proxies and certificates. Any thread.
namespace brindle::HttpRules {

/// Returns whether `url` asks for an unencrypted transfer with another machine. This machine means
/// 127.0.0.0/8, ::1 and "localhost", which libcurl never looks up (RFC 6761, section 6.3).
bool isInsecure(const QUrl &url);

/// Returns the target of a redirect from `from` to `location`. Throws TransferError if the target
/// is neither http nor https, is insecure, or leads from https to http.
QUrl redirectTarget(const QUrl &from, const QByteArray &location);

/// Returns the value for If-Range (RFC 9110, section 13.1.5) from two headers of an answer: the
/// entity tag, or nothing if the server serves no ranges or the tag is weak.
QByteArray validator(const QByteArray &acceptRanges, const QByteArray &entityTag);

/// Returns the system's first proxy for `url`, as an address for libcurl. Empty for a direct
/// connection, and for a kind of proxy that libcurl can't use. If the settings name a script, this
/// may block for long: worker threads only.
QByteArray proxyFor(const QUrl &url);

/// The files in which common systems keep their trusted certificates.
QStringList certificateFiles();

/// Returns the first readable file of `builtIn` and `others`, or nothing. `builtIn` is libcurl's
/// own choice, which may be missing where libcurl was built for another system. Any thread.
QString certificateFile(const QString &builtIn, const QStringList &others = certificateFiles());

} // namespace brindle::HttpRules
