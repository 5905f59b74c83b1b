#pragma once

#include <QByteArray>
#include <QUrl>

namespace brindle {

/// Which answers lead elsewhere, and where to. Pure; any thread.
class Redirect
{
public:
    /// Whether a status asks to go to the place in the Location header.
    static bool isRedirectStatus(int status);

    /// The address that `location` names when `from` has answered with it, by libcurl's own rules,
    /// which forgive what servers send. Throws TransferError for anything but http and https, for
    /// a way from https to http, and for plain http that would leave this machine.
    static QUrl target(const QUrl &from, const QByteArray &location);
};

} // namespace brindle
