#pragma once

#include <QUrl>

namespace brindle {

/// Unencrypted transfers, which anyone on the way could read and change. Pure; any thread.
class PlainHttp
{
public:
    /// Whether `url` asks for one that would leave this machine. Loopback means 127.0.0.0/8, ::1
    /// and "localhost", which libcurl answers itself and never looks up (RFC 6761, section 6.3).
    static bool isInsecure(const QUrl &url);
};

} // namespace brindle
