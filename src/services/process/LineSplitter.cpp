#include "process/LineSplitter.h"

#include "base/Text.h"

#include <QStringBuilder>
#include <QStringDecoder>

#include <algorithm>

namespace brindle {

using namespace Qt::StringLiterals;

LineSplitter::LineSplitter(qsizetype limit) : limit_(limit) {}

void LineSplitter::feed(QByteArrayView bytes, const LineCallback &line)
{
    while (!bytes.isEmpty()) {
        const qsizetype end = bytes.indexOf('\n');
        const QByteArrayView part = bytes.first(end < 0 ? bytes.size() : end);
        bytes = bytes.sliced(end < 0 ? bytes.size() : end + 1);
        const QByteArrayView kept = part.first(std::min(part.size(), limit_ - unfinished_.size()));
        if (end >= 0 && unfinished_.isEmpty()) {
            line(text(kept, part.size() - kept.size())); // most lines need no copy
            continue;
        }
        unfinished_.append(kept);
        skipped_ += part.size() - kept.size();
        if (end >= 0) {
            flush(line);
        }
    }
}

void LineSplitter::flush(const LineCallback &line)
{
    if (!unfinished_.isEmpty()) {
        line(text(unfinished_, skipped_));
        unfinished_.resize(0);
        skipped_ = 0;
    }
}

/// Returns `bytes` as text, with a note about skipped bytes. The text has no spare capacity.
QString LineSplitter::text(QByteArrayView bytes, qint64 skipped)
{
    using Flag = QStringDecoder::Flag;
    // Unlike QString::fromUtf8 this keeps a byte order mark. Without Stateless the decoder waits
    // for the rest of a cut character, and so drops it.
    QStringDecoder decoder(QStringDecoder::Utf8,
                           Flag::ConvertInitialBom |
                               (skipped > 0 ? Flag::Default : Flag::Stateless));
    QString line = decoder(bytes);
    if (skipped == 0) {
        return line;
    }
    return line % u"… (" % Text::byteCount(skipped) % u" left out)";
}

} // namespace brindle
