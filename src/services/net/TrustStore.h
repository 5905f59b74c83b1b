#pragma once

#include <QString>
#include <QStringList>

namespace brindle {

/// Where systems keep the certificates that they trust. A libcurl that came from elsewhere looks
/// where its own system has them, which may not be here. Pure but for a look at the disk.
class TrustStore
{
public:
    /// The places of today's systems.
    static QStringList places();

    /// `builtIn` when it is there, else the first of `others` that is; empty when none is.
    static QString file(const QString &builtIn, const QStringList &others);
};

} // namespace brindle
