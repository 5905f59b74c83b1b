#pragma once

#include "RawZip.h"

namespace brindle {

/// Small archives of large files.
class Bombs
{
public:
    /// A deflated file of zeros, of less than 4 GiB, made in next to no time. A thousand times
    /// smaller when packed.
    static RawZip::Entry zeros(const QByteArray &name, qint64 count);

    /// `files` files of a megabyte each that overlap: the data of each quotes the next
    /// one's header and goes on with its data. Every entry by itself is whole and well-behaved.
    static QByteArray byOverlap(int files);
};

} // namespace brindle
