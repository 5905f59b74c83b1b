#include "RawZip.h"

#include <zlib.h>

namespace brindle {

namespace {

constexpr int utf8Names = 0x800;
constexpr quint16 madeOnUnix = 0x031E;
constexpr quint16 madeOnDos = 0x0014;

template <typename T>
void put(QByteArray &bytes, T value)
{
    for (size_t i = 0; i < sizeof(T); ++i) {
        bytes.append(static_cast<char>((static_cast<quint64>(value) >> (8 * i)) & 0xFFU));
    }
}

QByteArray deflate(const QByteArray &content)
{
    if (content.isEmpty()) {
        return QByteArray("\x03\x00", 2); // one empty block
    }
    // qCompress: four bytes of length and two of a zlib header, four of a checksum at the end.
    return qCompress(content, 9).mid(6).chopped(4);
}

quint32 checksum(const QByteArray &content)
{
    return static_cast<quint32>(
        crc32(0, reinterpret_cast<const Bytef *>(content.constData()), // NOLINT
              static_cast<uInt>(content.size())));
}

/// The fields that a local header and a directory record share.
QByteArray common(const RawZip::Entry &entry, qsizetype packed)
{
    QByteArray bytes;
    put<quint16>(bytes, static_cast<quint16>(entry.flags >= 0 ? entry.flags : utf8Names));
    put<quint16>(bytes,
                 static_cast<quint16>(entry.method >= 0 ? entry.method : (entry.deflated ? 8 : 0)));
    put<quint32>(bytes, 0x00210000); // 1 January 1980
    put<quint32>(bytes, entry.crc >= 0 ? static_cast<quint32>(entry.crc) : checksum(entry.content));
    put<quint32>(bytes, static_cast<quint32>(entry.packedSize >= 0 ? entry.packedSize : packed));
    put<quint32>(bytes, static_cast<quint32>(entry.size >= 0 ? entry.size : entry.content.size()));
    return bytes;
}

} // namespace

RawZip &RawZip::add(const Entry &entry)
{
    entries_ << entry;
    return *this;
}

QByteArray RawZip::bytes(const QByteArray &comment) const
{
    QByteArray archive;
    QByteArray directory;
    for (const Entry &entry : entries_) {
        const QByteArray data = entry.deflated ? deflate(entry.content) : entry.content;
        const QByteArray fields = common(entry, data.size());
        const QByteArray localName = entry.localName.isEmpty() ? entry.name : entry.localName;
        const auto offset = archive.size();
        archive += QByteArray("PK\x03\x04", 4);
        put<quint16>(archive, 20);
        archive += fields;
        put<quint16>(archive, static_cast<quint16>(localName.size()));
        put<quint16>(archive, 0);
        archive += localName + data;

        directory += QByteArray("PK\x01\x02", 4);
        put<quint16>(directory, entry.mode != 0 ? madeOnUnix : madeOnDos);
        put<quint16>(directory, 20);
        directory += fields;
        put<quint16>(directory, static_cast<quint16>(entry.name.size()));
        directory += QByteArray(8, 0);
        put<quint32>(directory, entry.mode << 16U);
        put<quint32>(directory, static_cast<quint32>(offset));
        directory += entry.name;
    }
    const auto start = archive.size();
    archive += directory + QByteArray("PK\x05\x06", 4) + QByteArray(4, 0);
    put<quint16>(archive, static_cast<quint16>(entries_.size()));
    put<quint16>(archive, static_cast<quint16>(entries_.size()));
    put<quint32>(archive, static_cast<quint32>(directory.size()));
    put<quint32>(archive, static_cast<quint32>(start));
    put<quint16>(archive, static_cast<quint16>(comment.size()));
    return archive + comment;
}

} // namespace brindle
