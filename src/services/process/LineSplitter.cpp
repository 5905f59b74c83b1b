#include "process/LineSplitter.h"

#include "base/Text.h"

#include <QStringBuilder>

#include <algorithm>
#include <cstring>

namespace brindle {

namespace {

constexpr qsizetype maxCharacter = 4;

bool isContinuation(char byte)
{
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

/// Where to cut bytes that are more than the limit: before the character that the limit falls
/// into, or at the limit where there is no such thing as a character.
qsizetype cut(QByteArrayView bytes, qsizetype limit)
{
    for (qsizetype end = limit; end > limit - maxCharacter; --end) {
        if (!isContinuation(bytes[end])) {
            return end;
        }
    }
    return limit;
}

QString decoded(QByteArrayView bytes)
{
    // Qt takes a byte order mark at the start for an encoding hint and drops it.
    constexpr QByteArrayView mark("\xEF\xBB\xBF");
    if (bytes.startsWith(mark)) {
        return QChar(QChar::ByteOrderMark) % QString::fromUtf8(bytes);
    }
    return QString::fromUtf8(bytes);
}

} // namespace

LineSplitter::LineSplitter(qsizetype limit) : limit_(limit)
{
    Q_ASSERT(limit >= maxCharacter);
}

void LineSplitter::feed(QByteArrayView bytes, const LineCallback &line)
{
    while (!bytes.isEmpty()) {
        const auto *end = static_cast<const char *>(
            std::memchr(bytes.data(), '\n', static_cast<size_t>(bytes.size())));
        const QByteArrayView part = end ? bytes.first(end - bytes.data()) : bytes;
        bytes = bytes.sliced(end ? part.size() + 1 : part.size());

        if (end && unfinished_.isEmpty()) {
            // Nearly every line: decoded where it lies.
            line(text(part));
            continue;
        }
        const qsizetype kept = std::min(part.size(), limit_ + 1 - unfinished_.size());
        unfinished_.append(part.first(kept));
        skipped_ += part.size() - kept;
        if (end) {
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

/// The line of these bytes, and of those skipped behind them. Built without room to grow, as
/// thousands of them are kept.
QString LineSplitter::text(QByteArrayView bytes) const
{
    if (bytes.size() <= limit_) {
        return decoded(bytes);
    }
    const qsizetype end = cut(bytes, limit_);
    return decoded(bytes.first(end)) % QStringLiteral("… (") %
           Text::byteCount(bytes.size() - end + skipped_) % QStringLiteral(" left out)");
}

} // namespace brindle
