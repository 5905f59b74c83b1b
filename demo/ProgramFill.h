#pragma once

#include <QByteArray>

namespace brindle {

/// Makes bytes that a packer finds about as hard as a program: short pieces of what was there
/// before, between bytes that are new but not all equally likely. The same bytes every time.
class ProgramFill
{
public:
    /// The next `size` bytes.
    QByteArray next(qsizetype size);

private:
    quint32 random();

    quint64 state_ = 0x9e3779b97f4a7c15; // any number but zero
    QByteArray window_;                  // what pieces are repeated from
};

} // namespace brindle
