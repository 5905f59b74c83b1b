#pragma once

#include "base/Callbacks.h"

#include <QByteArray>
#include <QString>

namespace brindle {

/// Cuts a stream of bytes into lines of text, in bounded memory.
///
/// Only a line feed ends a line; a carriage return before it stays. Invalid UTF-8 is repaired. A
/// line over the limit is cut behind its last whole character within the limit, and ends with the
/// size of the rest: "… (9.9 MB left out)". Call from one thread at a time.
class LineSplitter
{
public:
    /// @param limit the most bytes kept of a line.
    explicit LineSplitter(qsizetype limit);

    /// Takes the next bytes and passes on each line that they complete.
    void feed(QByteArrayView bytes, const LineCallback &line);

    /// Passes on the last line if it has no line feed.
    void flush(const LineCallback &line);

private:
    static QString text(QByteArrayView bytes, qint64 skipped);

    qsizetype limit_;
    QByteArray unfinished_; // the line's first bytes, at most `limit_`
    qint64 skipped_ = 0;    // number of the line's later bytes
};

} // namespace brindle
