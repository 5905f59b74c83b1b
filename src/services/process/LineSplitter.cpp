#include "process/LineSplitter.h"

#include "base/Text.h"

#include <QStringBuilder>
#include <QStringDecoder>

#include <algorithm>

namespace brindle {

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype maxCharacter = 4;

bool isContinuation(char byte)
{
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

QString decoded(QByteArrayView bytes)
{
    // QString::fromUtf8 would drop a byte order mark.
    using Flag = QStringDecoder::Flag;
    QStringDecoder decoder(QStringDecoder::Utf8, Flag::Stateless | Flag::ConvertInitialBom);
    return decoder(bytes);
}

} // namespace

LineSplitter::LineSplitter(qsizetype limit) : limit_(limit)
{
    Q_ASSERT(limit >= maxCharacter);
}

void LineSplitter::feed(QByteArrayView bytes, const LineCallback &line)
{
    while (!bytes.isEmpty()) {
        const qsizetype end = bytes.indexOf('\n');
        const QByteArrayView part = bytes.first(end < 0 ? bytes.size() : end);
        bytes = bytes.sliced(end < 0 ? bytes.size() : end + 1);
        if (end >= 0 && unfinished_.isEmpty()) {
            line(text(part)); // most lines need no copy
            continue;
        }
        const qsizetype kept = std::min(part.size(), limit_ + 1 - unfinished_.size());
        unfinished_.append(part.first(kept));
        skipped_ += part.size() - kept;
        if (end >= 0) {
            flush(line);
        }
    }
}

void LineSplitter::flush(const LineCallback &line)
{
    if (!unfinished_.isEmpty()) {
        line(text(unfinished_));
        unfinished_.resize(0);
        skipped_ = 0;
    }
}

/// Returns the line of these bytes and of the skipped ones behind them, without spare capacity.
QString LineSplitter::text(QByteArrayView bytes) const
{
    if (bytes.size() <= limit_) {
        return decoded(bytes);
    }
    qsizetype end = limit_;
    while (end > limit_ - maxCharacter + 1 && isContinuation(bytes[end])) {
        --end;
    }
    if (isContinuation(bytes[end])) {
        end = limit_; // this is no UTF-8
    }
    return decoded(bytes.first(end)) % u"… (" % Text::byteCount(bytes.size() - end + skipped_) %
           u" left out)";
}

} // namespace brindle
