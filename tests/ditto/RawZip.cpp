#include "RawZip.h"

#include <zlib.h>

namespace brindle {

namespace {

constexpr int utf8Names = 0x800;
constexpr int sizesBehind = 0x8;
constexpr quint16 madeOnUnix = 0x031E;
constexpr quint16 madeOnDos = 0x0014;
constexpr quint16 version = 20;
constexpr quint32 saturated32 = 0xFFFFFFFF;
constexpr quint16 saturated16 = 0xFFFF;

template <typename T>
void put(QByteArray &bytes, T value)
{
    for (size_t i = 0; i < sizeof(T); ++i) {
        bytes.append(static_cast<char>((static_cast<quint64>(value) >> (8 * i)) & 0xFFU));
    }
}

template <typename T>
T told(qint64 lie, T truth)
{
    return lie >= 0 ? static_cast<T>(lie) : truth;
}

QByteArray deflate(const QByteArray &content)
{
    if (content.isEmpty()) {
        return QByteArray("\x03\x00", 2); // one empty block
    }
    // qCompress: four bytes of length and two of a zlib header, four of a checksum at the end.
    return qCompress(content, 9).mid(6).chopped(4);
}

/// An entry with its data packed and every lie resolved.
struct Resolved
{
    explicit Resolved(const RawZip::Entry &entry)
        : data(!entry.packed.isEmpty() ? entry.packed
               : entry.deflated        ? deflate(entry.content)
                                       : entry.content)
        , flags(static_cast<quint16>(told(entry.flags, utf8Names) |
                                     (entry.descriptor ? sizesBehind : 0)))
        , method(told<quint16>(entry.method, entry.deflated ? 8 : 0))
        , crc(told(entry.crc, RawZip::checksum(entry.content)))
        , packedSize(told<quint64>(entry.packedSize, static_cast<quint64>(data.size())))
        , size(told<quint64>(entry.size, static_cast<quint64>(entry.content.size())))
    {}

    /// The fields that a local header and a directory record share.
    QByteArray fields(quint16 toldFlags, quint16 toldMethod, quint32 toldCrc, quint64 toldPacked,
                      quint64 toldSize, bool zip64) const
    {
        QByteArray bytes;
        put<quint16>(bytes, toldFlags);
        put<quint16>(bytes, toldMethod);
        put<quint32>(bytes, 0x00210000); // 1 January 1980
        put<quint32>(bytes, toldCrc);
        put<quint32>(bytes, zip64 ? saturated32 : static_cast<quint32>(toldPacked));
        put<quint32>(bytes, zip64 ? saturated32 : static_cast<quint32>(toldSize));
        return bytes;
    }

    QByteArray zip64Field() const
    {
        QByteArray bytes;
        put<quint16>(bytes, 1);
        put<quint16>(bytes, 2 * sizeof(quint64));
        put<quint64>(bytes, size);
        put<quint64>(bytes, packedSize);
        return bytes;
    }

    QByteArray descriptor() const
    {
        QByteArray bytes("PK\x07\x08", 4);
        put<quint32>(bytes, crc);
        put<quint32>(bytes, static_cast<quint32>(packedSize));
        put<quint32>(bytes, static_cast<quint32>(size));
        return bytes;
    }

    QByteArray data;
    quint16 flags;
    quint16 method;
    quint32 crc;
    quint64 packedSize;
    quint64 size;
};

QByteArray headerOf(const RawZip::Entry &entry, const Resolved &resolved)
{
    const bool later = entry.descriptor;
    const QByteArray name = entry.localName.isEmpty() ? entry.name : entry.localName;
    const QByteArray extra =
        (entry.zip64 ? resolved.zip64Field() : QByteArray()) + entry.localExtra;
    QByteArray bytes("PK\x03\x04", 4);
    put<quint16>(bytes, version);
    bytes += resolved.fields(
        told(entry.localFlags, resolved.flags), told<quint16>(entry.localMethod, resolved.method),
        later ? 0 : told(entry.localCrc, resolved.crc),
        later ? 0 : told(entry.localPackedSize, resolved.packedSize),
        later ? 0 : told<quint64>(entry.localSize, resolved.size), entry.zip64);
    put<quint16>(bytes, static_cast<quint16>(name.size()));
    put<quint16>(bytes, static_cast<quint16>(extra.size()));
    return bytes + name + extra;
}

QByteArray recordOf(const RawZip::Entry &entry, const Resolved &resolved, qint64 offset)
{
    const QByteArray extra = (entry.zip64 ? resolved.zip64Field() : QByteArray()) + entry.extra;
    QByteArray bytes("PK\x01\x02", 4);
    const quint16 madeBy = entry.mode != 0 ? madeOnUnix : madeOnDos;
    put<quint16>(bytes, entry.system < 0 ? madeBy : static_cast<quint16>(entry.system << 8));
    put<quint16>(bytes, version);
    bytes += resolved.fields(resolved.flags, resolved.method, resolved.crc, resolved.packedSize,
                             resolved.size, entry.zip64);
    put<quint16>(bytes, static_cast<quint16>(entry.name.size()));
    put<quint16>(bytes, static_cast<quint16>(extra.size()));
    bytes += QByteArray(6, 0);
    put<quint32>(bytes, entry.mode << 16U);
    put<quint32>(bytes, told(entry.offset, static_cast<quint32>(offset)));
    return bytes + entry.name + extra;
}

/// The zip64 end record and what points to it.
QByteArray zip64End(const RawZip::Frame &frame, qint64 count, qint64 size, qint64 offset,
                    qint64 position)
{
    constexpr quint64 restOfRecord = 44;
    const auto number = told<quint64>(frame.zip64Count, static_cast<quint64>(count));
    QByteArray bytes("PK\x06\x06", 4);
    put<quint64>(bytes, restOfRecord);
    put<quint16>(bytes, madeOnUnix);
    put<quint16>(bytes, version);
    put<quint64>(bytes, 0); // numbers of disks
    put<quint64>(bytes, told<quint64>(frame.zip64Here, number));
    put<quint64>(bytes, number);
    put<quint64>(bytes, size);
    put<quint64>(bytes, offset);
    bytes += QByteArray("PK\x06\x07", 4);
    put<quint32>(bytes, 0);
    put<quint64>(bytes, told(frame.zip64Offset, static_cast<quint64>(position)));
    put<quint32>(bytes, 1);
    return bytes;
}

} // namespace

RawZip &RawZip::add(const Entry &entry)
{
    entries_ << entry;
    return *this;
}

QByteArray RawZip::bytes(const Frame &frame) const
{
    QByteArray archive = frame.prefix;
    const qint64 zero = frame.prefixCounted ? 0 : frame.prefix.size();
    QByteArray directory;
    for (const Entry &entry : entries_) {
        const Resolved resolved(entry);
        directory += recordOf(entry, resolved, archive.size() - zero);
        archive += headerOf(entry, resolved) + resolved.data;
        if (entry.descriptor) {
            archive += resolved.descriptor();
        }
    }
    const qint64 start = archive.size() - zero;
    archive += directory;
    const bool zip64 = frame.zip64 || entries_.size() >= saturated16;
    if (zip64) {
        archive += zip64End(frame, entries_.size(), directory.size(), start, archive.size() - zero);
    }
    const bool elsewhere = zip64 && frame.saturated;
    const auto count = elsewhere ? saturated16 : static_cast<quint16>(entries_.size());
    archive += QByteArray("PK\x05\x06", 4) + QByteArray(4, 0);
    put<quint16>(archive, told(frame.count, count));
    put<quint16>(archive, told(frame.count, count));
    put<quint32>(archive, told(frame.directorySize,
                               elsewhere ? saturated32 : static_cast<quint32>(directory.size())));
    put<quint32>(archive, told(frame.directoryOffset,
                               elsewhere ? saturated32 : static_cast<quint32>(start)));
    put<quint16>(archive, static_cast<quint16>(frame.comment.size()));
    return archive + frame.comment;
}

QByteArray RawZip::localHeader(const Entry &entry)
{
    return headerOf(entry, Resolved(entry));
}

quint32 RawZip::checksum(const QByteArray &content)
{
    return static_cast<quint32>(
        crc32(0, reinterpret_cast<const Bytef *>(content.constData()), // NOLINT
              static_cast<uInt>(content.size())));
}

QByteArray RawZip::unicodePath(const QByteArray &name, const QByteArray &unicodeName)
{
    QByteArray content(1, 1); // version
    put<quint32>(content, checksum(name));
    content += unicodeName;
    QByteArray field;
    put<quint16>(field, 0x7075);
    put<quint16>(field, static_cast<quint16>(content.size()));
    return field + content;
}

} // namespace brindle
