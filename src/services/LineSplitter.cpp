#include "services/LineSplitter.h"

namespace brindle {

namespace {

/// The last place at or before `limit` that is not inside a UTF-8 sequence; `limit` itself when
/// the bytes are no UTF-8.
qsizetype characterBorder(const QByteArray &bytes, qsizetype limit)
{
    constexpr qsizetype longestSequence = 4;
    for (qsizetype cut = limit; cut > 0 && cut > limit - longestSequence; --cut) {
        const auto byte = static_cast<unsigned char>(bytes.at(cut));
        if ((byte & 0xC0U) != 0x80U) {
            return cut;
        }
    }
    return limit;
}

} // namespace

QStringList LineSplitter::consume(const QByteArray &bytes)
{
    QStringList lines;
    qsizetype start = 0;
    for (;;) {
        const qsizetype end = bytes.indexOf('\n', start);
        if (end < 0) {
            break;
        }
        if (rest_.isEmpty() && end - start <= maxLineBytes_) {
            lines << QString::fromUtf8(bytes.constData() + start, end - start);
        } else {
            rest_.append(bytes.constData() + start, end - start);
            cutLongLine(lines);
            lines << QString::fromUtf8(rest_);
            rest_.clear();
        }
        start = end + 1;
    }
    rest_.append(bytes.constData() + start, bytes.size() - start);
    cutLongLine(lines);
    return lines;
}

QStringList LineSplitter::flush()
{
    QStringList lines;
    if (!rest_.isEmpty()) {
        lines << QString::fromUtf8(rest_);
        rest_.clear();
    }
    return lines;
}

/// Passes on what exceeds the limit, so that a line without an end does not grow without bound.
void LineSplitter::cutLongLine(QStringList &lines)
{
    qsizetype start = 0;
    while (rest_.size() - start > maxLineBytes_) {
        const QByteArray window =
                QByteArray::fromRawData(rest_.constData() + start, rest_.size() - start);
        const qsizetype cut = characterBorder(window, maxLineBytes_);
        lines << QString::fromUtf8(window.constData(), cut);
        start += cut;
    }
    rest_.remove(0, start);
}

} // namespace brindle
