#include "Bombs.h"

#include <QList>

#include <zlib.h>

namespace brindle {

namespace {

constexpr qint64 pieceSize = 1 << 20;
const QByteArray emptyLastBlock("\x03\x00", 2);

quint32 joined(quint32 first, quint32 second, qint64 secondSize)
{
    return static_cast<quint32>(crc32_combine(first, second, static_cast<z_off_t>(secondSize)));
}

/// Zeros, deflated into blocks that can follow and be followed by any others.
QByteArray piece(qint64 count)
{
    QByteArray zeros(count, 0);
    QByteArray packed(static_cast<qsizetype>(compressBound(static_cast<uLong>(count))) + 16, 0);
    z_stream stream{};
    deflateInit2(&stream, Z_BEST_COMPRESSION, Z_DEFLATED, -MAX_WBITS, MAX_MEM_LEVEL,
                 Z_DEFAULT_STRATEGY);
    stream.next_in = reinterpret_cast<Bytef *>(zeros.data()); // NOLINT
    stream.avail_in = static_cast<uInt>(count);
    stream.next_out = reinterpret_cast<Bytef *>(packed.data()); // NOLINT
    stream.avail_out = static_cast<uInt>(packed.size());
    deflate(&stream, Z_FULL_FLUSH);
    packed.truncate(static_cast<qsizetype>(stream.total_out));
    deflateEnd(&stream);
    return packed;
}

/// A deflate block that is not packed and not the last.
QByteArray quoted(const QByteArray &bytes)
{
    const auto size = static_cast<quint16>(bytes.size());
    const auto inverse = static_cast<quint16>(~size);
    QByteArray block(1, 0);
    for (const quint16 number : {size, inverse}) {
        block.append(static_cast<char>(number & 0xFFU)).append(static_cast<char>(number >> 8U));
    }
    return block + bytes;
}

} // namespace

RawZip::Entry Bombs::zeros(const QByteArray &name, qint64 count)
{
    const qint64 pieces = count / pieceSize;
    const qint64 rest = count % pieceSize;
    QByteArray packed = pieces > 0 ? piece(pieceSize).repeated(pieces) : QByteArray();
    quint32 crc = 0;
    const quint32 crcOfPiece = RawZip::checksum(QByteArray(pieceSize, 0));
    for (qint64 i = 0; i < pieces; ++i) {
        crc = joined(crc, crcOfPiece, pieceSize);
    }
    if (rest > 0) {
        packed += piece(rest);
        crc = joined(crc, RawZip::checksum(QByteArray(rest, 0)), rest);
    }
    RawZip::Entry entry{name, {}, RawZip::file644, true};
    entry.packed = packed + emptyLastBlock;
    entry.size = count;
    entry.crc = crc;
    return entry;
}

QByteArray Bombs::byOverlap(int files)
{
    // Built from the last file, which is the only one with data of its own.
    RawZip::Entry next = zeros(QByteArray::number(files - 1), 1'000'000);
    QByteArray chain = RawZip::localHeader(next) + next.packed; // from a file's header onwards
    QList<RawZip::Entry> entries{next};
    QList<qint64> fromEnd{chain.size()}; // where each file's header begins
    for (int i = files - 2; i >= 0; --i) {
        const QByteArray header = RawZip::localHeader(next);
        RawZip::Entry entry{QByteArray::number(i), {}, RawZip::file644, true};
        entry.packed = quoted(header) + next.packed;
        entry.size = header.size() + next.size;
        entry.crc = joined(RawZip::checksum(header), static_cast<quint32>(next.crc), next.size);
        chain = RawZip::localHeader(entry) + quoted(header) + chain.mid(header.size());
        entries << entry;
        fromEnd << chain.size();
        next = entry;
    }
    // The chain stands in front; a directory with these places follows, cut from an archive that
    // holds the same entries side by side.
    RawZip zip;
    for (qsizetype i = entries.size() - 1; i >= 0; --i) {
        RawZip::Entry entry = entries.at(i);
        entry.packedSize = entry.packed.size();
        entry.packed = QByteArray(1, 0);
        entry.offset = chain.size() - fromEnd.at(i);
        zip.add(entry);
    }
    RawZip::Frame frame;
    frame.directoryOffset = chain.size();
    const QByteArray sideBySide = zip.bytes(frame);
    return chain + sideBySide.mid(sideBySide.indexOf("PK\x01\x02"));
}

} // namespace brindle
