#pragma once

#include <QString>

namespace brindle {

/// Byte counts as the platform's formatter writes them in its file style, the same on every
/// system: powers of 1000, "Zero KB", "1 byte", "999 bytes", KB without decimals, MB with at most
/// one, GB and up with at most two, no trailing zeros; what rounds up to 1000 moves to the next
/// unit.
class ByteCount
{
public:
    /// Any thread; never fails.
    static QString string(qint64 bytes);
};

} // namespace brindle
