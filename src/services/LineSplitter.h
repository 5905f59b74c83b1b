#pragma once

#include <QByteArray>
#include <QString>

#include <functional>

namespace brindle {

/// Cuts a stream of bytes into lines of text.
///
/// Only a line feed ends a line; it is taken away, a carriage return before it stays. Invalid
/// UTF-8 is repaired, never rejected. A line longer than `limit` is handed on in pieces of at most
/// that size as it arrives, cut between two characters, so that memory stays flat whatever comes.
/// One thread at a time.
class LineSplitter
{
public:
    using Line = std::function<void(QString)>;

    /// @param limit bytes that a piece may have, at least 4 (one character).
    explicit LineSplitter(qsizetype limit);

    /// Takes the next bytes and hands on what they complete, in order.
    void feed(QByteArrayView bytes, const Line &line);

    /// Hands on a last line that had no line feed, if there is one.
    void flush(const Line &line);

private:
    QByteArrayView handOnPieces(QByteArrayView bytes, const Line &line) const;
    qsizetype pieceEnd(QByteArrayView bytes) const;
    static QString decoded(QByteArrayView bytes);

    qsizetype limit_;
    QByteArray unfinished_; // at most `limit_` bytes, no line feed
};

} // namespace brindle
