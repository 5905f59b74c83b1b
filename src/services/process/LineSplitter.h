#pragma once

#include "base/Callbacks.h"

#include <QByteArray>
#include <QString>

namespace brindle {

/// Cuts a stream of bytes into lines of text.
///
/// Only a line feed ends a line; it is taken away, a carriage return before it stays. Invalid
/// UTF-8 is repaired, never rejected. Of a line longer than `limit` the beginning is handed on, cut
/// between two characters, with a note of how much is missing: "… (9.9 MB left out)". So memory
/// stays flat whatever comes. One thread at a time.
class LineSplitter
{
public:
    /// Characters that the note may have.
    static constexpr qsizetype maxNote = 24;

    /// @param limit bytes of a line that are kept, at least 4 (one character).
    explicit LineSplitter(qsizetype limit);

    /// Takes the next bytes and hands on the lines that they complete, in order.
    void feed(QByteArrayView bytes, const LineCallback &line);

    /// Hands on a last line that had no line feed, if there is one.
    void flush(const LineCallback &line);

private:
    QString text(QByteArrayView bytes) const;

    qsizetype limit_;
    QByteArray unfinished_; // the line's first bytes, one more than `limit_` at most
    qint64 skipped_ = 0;    // how many followed them
};

} // namespace brindle
