#include "demo/ProgramFill.h"

#include <algorithm>
#include <utility>

namespace brindle {

namespace {

// Inside deflate's window of 32 KiB, so that a packer can find what is repeated.
constexpr qsizetype windowBytes = 16'384;
constexpr quint32 shortestPiece = 4;
constexpr quint32 pieceLengths = 12;
constexpr quint32 newBytesPerPiece = 4;

} // namespace

quint32 ProgramFill::random()
{
    // xorshift64*, from Marsaglia's "Xorshift RNGs" with Vigna's multiplication.
    state_ ^= state_ >> 12;
    state_ ^= state_ << 25;
    state_ ^= state_ >> 27;
    return static_cast<quint32>((state_ * 0x2545f4914f6cdd1d) >> 32);
}

QByteArray ProgramFill::next(qsizetype size)
{
    QByteArray bytes = std::exchange(window_, {});
    const qsizetype begin = bytes.size();
    bytes.reserve(begin + size + shortestPiece + pieceLengths);
    while (bytes.size() < begin + size) {
        for (quint32 count = random() % newBytesPerPiece; count > 0; --count) {
            // The smaller of two: low values are more frequent, as in machine code.
            bytes.append(static_cast<char>(std::min(random() % 256, random() % 256)));
        }
        const qsizetype reach = std::min(bytes.size(), windowBytes);
        if (reach > shortestPiece + pieceLengths) {
            const quint32 length = shortestPiece + random() % pieceLengths;
            const quint32 back = length + random() % static_cast<quint32>(reach - length);
            const qsizetype from = bytes.size() - qsizetype{back};
            for (quint32 i = 0; i < length; ++i) {
                bytes.append(bytes.at(from + i));
            }
        } else {
            bytes.append(static_cast<char>(random() % 256));
        }
    }
    bytes.truncate(begin + size);
    window_ = bytes.right(windowBytes);
    return bytes.mid(begin);
}

} // namespace brindle
