#pragma once

#include <QByteArray>
#include <QString>

#include <functional>

namespace brindle {

/// Cuts a stream of bytes into lines of text.
///
/// Only a line feed ends a line; it is taken away, a carriage return before it stays. Invalid
/// UTF-8 is repaired, never rejected. A line longer than `limit` is handed on in pieces as it
/// arrives, cut between two characters: the first of at most that size, each other of at most half
/// of the one before, down to `shortestPiece`. So memory stays flat whatever comes, that of whoever
/// keeps the last thousands of pieces included, and a line that is merely long is in few pieces.
/// One thread at a time.
class LineSplitter
{
public:
    using Line = std::function<void(QString)>;

    /// Bytes below which pieces are not halved, unless `limit` is lower.
    static constexpr qsizetype shortestPiece = 512;

    /// @param limit bytes that a piece may have, at least 4 (one character).
    explicit LineSplitter(qsizetype limit);

    /// Takes the next bytes and hands on what they complete, in order.
    void feed(QByteArrayView bytes, const Line &line);

    /// Hands on a last line that had no line feed, if there is one.
    void flush(const Line &line);

private:
    QByteArrayView handOnPieces(QByteArrayView bytes, const Line &line);
    qsizetype pieceEnd(QByteArrayView bytes) const;
    static QString decoded(QByteArrayView bytes);

    qsizetype limit_;
    qsizetype piece_;       // bytes that the next piece of the present line may have
    QByteArray unfinished_; // at most `limit_` bytes, no line feed
};

} // namespace brindle
