#include "services/LineSplitter.h"

#include <algorithm>
#include <cstring>

namespace brindle {

namespace {

constexpr qsizetype longestCharacter = 4;

bool isContinuation(char byte)
{
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

} // namespace

LineSplitter::LineSplitter(qsizetype limit) : limit_(limit), piece_(limit)
{
    Q_ASSERT(limit >= longestCharacter);
}

void LineSplitter::feed(QByteArrayView bytes, const Line &line)
{
    while (!bytes.isEmpty()) {
        const auto *end = static_cast<const char *>(
            std::memchr(bytes.data(), '\n', static_cast<size_t>(bytes.size())));
        const QByteArrayView part = end ? bytes.first(end - bytes.data()) : bytes;
        bytes = bytes.sliced(end ? part.size() + 1 : part.size());

        if (end && unfinished_.isEmpty()) {
            // Nearly every line: decoded where it lies.
            line(decoded(handOnPieces(part, line)));
        } else {
            unfinished_.append(part);
            const QByteArrayView rest = handOnPieces(unfinished_, line);
            if (end) {
                line(decoded(rest));
                unfinished_.resize(0);
            } else if (rest.size() < unfinished_.size()) {
                unfinished_ = rest.toByteArray();
            }
        }
        if (end) {
            piece_ = limit_;
        }
    }
}

void LineSplitter::flush(const Line &line)
{
    if (!unfinished_.isEmpty()) {
        line(decoded(unfinished_));
        unfinished_.clear();
    }
    piece_ = limit_;
}

/// Hands on all but the last piece, which it returns: what follows may belong to it.
QByteArrayView LineSplitter::handOnPieces(QByteArrayView bytes, const Line &line)
{
    while (bytes.size() > piece_) {
        const qsizetype end = pieceEnd(bytes);
        line(decoded(bytes.first(end)));
        bytes = bytes.sliced(end);
        piece_ = std::max(piece_ / 2, std::min(limit_, shortestPiece));
    }
    return bytes;
}

/// Where to cut bytes that are longer than a piece: before the character that the limit falls
/// into, or at the limit where there is no such thing as a character.
qsizetype LineSplitter::pieceEnd(QByteArrayView bytes) const
{
    for (qsizetype end = piece_; end > piece_ - longestCharacter; --end) {
        if (!isContinuation(bytes[end])) {
            return end;
        }
    }
    return piece_;
}

QString LineSplitter::decoded(QByteArrayView bytes)
{
    // Qt takes a byte order mark at the start for an encoding hint and drops it.
    constexpr QByteArrayView mark("\xEF\xBB\xBF");
    QString text = QString::fromUtf8(bytes);
    if (bytes.startsWith(mark)) {
        text.prepend(QChar(QChar::ByteOrderMark));
    }
    return text;
}

} // namespace brindle
