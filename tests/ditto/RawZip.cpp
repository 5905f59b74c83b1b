#include "RawZip.h"

#include <QtEndian>

#include <zlib.h>

namespace brindle {

namespace {

constexpr quint64 saturated32 = 0xFFFFFFFF;
constexpr quint64 saturated16 = 0xFFFF;

/// Returns a number in `width` bytes, lowest byte first.
QByteArray number(int width, quint64 value)
{
    const quint64 bytes = qToLittleEndian(value);
    return {reinterpret_cast<const char *>(&bytes), width}; // NOLINT
}

quint64 orLie(qint64 lie, quint64 truth)
{
    return lie >= 0 ? static_cast<quint64>(lie) : truth;
}

QByteArray sized(const QByteArray &bytes)
{
    return number(2, static_cast<quint64>(bytes.size()));
}

QByteArray dataOf(const RawZip::Entry &entry)
{
    if (!entry.packed.isEmpty() || !entry.deflated) {
        return entry.packed.isEmpty() ? entry.content : entry.packed;
    }
    if (entry.content.isEmpty()) {
        return {"\3\0", 2}; // one empty block
    }
    // qCompress adds six bytes in front, a length and a header, and a checksum of four bytes
    // behind.
    return qCompress(entry.content, 9).mid(6).chopped(4);
}

/// The fields common to both headers of an entry.
struct Fields
{
    quint64 flags;
    quint64 method;
    quint64 crc;
    quint64 packedSize;
    quint64 size;

    QByteArray bytes(bool zip64) const
    {
        constexpr quint64 time = 0x00210000; // 1 January 1980
        return number(2, flags) + number(2, method) + number(4, time) + number(4, crc) +
               number(4, zip64 ? saturated32 : packedSize) + number(4, zip64 ? saturated32 : size);
    }
};

Fields fieldsOf(const RawZip::Entry &entry, const QByteArray &data)
{
    constexpr quint64 utf8Names = 0x800;
    constexpr quint64 sizesBehind = 0x8;
    return {.flags = orLie(entry.flags, utf8Names) | (entry.descriptor ? sizesBehind : 0),
            .method = orLie(entry.method, entry.deflated ? 8 : 0),
            .crc = orLie(entry.crc, RawZip::checksum(entry.content)),
            .packedSize = orLie(entry.packedSize, static_cast<quint64>(data.size())),
            .size = orLie(entry.size, static_cast<quint64>(entry.content.size()))};
}

QByteArray zip64Field(const RawZip::Entry &entry, const Fields &fields)
{
    return entry.zip64 ? number(2, 1) + number(2, 16) + number(8, fields.size) +
                             number(8, fields.packedSize)
                       : QByteArray();
}

QByteArray localHeaderOf(const RawZip::Entry &entry, const Fields &fields)
{
    Fields local{.flags = orLie(entry.localFlags, fields.flags),
                 .method = orLie(entry.localMethod, fields.method),
                 .crc = orLie(entry.localCrc, fields.crc),
                 .packedSize = orLie(entry.localPackedSize, fields.packedSize),
                 .size = orLie(entry.localSize, fields.size)};
    if (entry.descriptor) {
        local.crc = local.packedSize = local.size = 0;
    }
    const QByteArray name = entry.localName.isEmpty() ? entry.name : entry.localName;
    const QByteArray extra = zip64Field(entry, fields) + entry.localExtra;
    return "PK\3\4" + number(2, 20) + local.bytes(entry.zip64) + sized(name) + sized(extra) + name +
           extra;
}

QByteArray directoryRecord(const RawZip::Entry &entry, const Fields &fields, qint64 offset)
{
    const quint64 madeBy = entry.system >= 0 ? static_cast<quint64>(entry.system) << 8U
                           : entry.mode != 0 ? 0x031E  // Unix
                                             : 0x0014; // DOS
    const QByteArray extra = zip64Field(entry, fields) + entry.extra;
    return "PK\1\2" + number(2, madeBy) + number(2, 20) + fields.bytes(entry.zip64) +
           sized(entry.name) + sized(extra) + QByteArray(6, 0) +
           number(4, static_cast<quint64>(entry.mode) << 16U) +
           number(4, orLie(entry.offset, static_cast<quint64>(offset))) + entry.name + extra;
}

/// Returns the zip64 end record and its locator.
QByteArray zip64End(const RawZip::Frame &frame, quint64 count, quint64 size, quint64 offset,
                    quint64 position)
{
    const quint64 listed = orLie(frame.zip64Count, count);
    return "PK\6\6" + number(8, 44) + number(2, 0x031E) + number(2, 20) + number(8, 0) +
           number(8, orLie(frame.zip64Here, listed)) + number(8, listed) + number(8, size) +
           number(8, offset) + "PK\6\7" + number(4, 0) +
           number(8, orLie(frame.zip64Offset, position)) + number(4, 1);
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
        const QByteArray data = dataOf(entry);
        const Fields fields = fieldsOf(entry, data);
        directory += directoryRecord(entry, fields, archive.size() - zero);
        archive += localHeaderOf(entry, fields) + data;
        if (entry.descriptor) {
            archive += "PK\7\10" + number(4, fields.crc) + number(4, fields.packedSize) +
                       number(4, fields.size);
        }
    }
    const auto start = static_cast<quint64>(archive.size() - zero);
    const auto size = static_cast<quint64>(directory.size());
    const auto count = static_cast<quint64>(entries_.size());
    archive += directory;
    const bool zip64 = frame.zip64 || count >= saturated16;
    if (zip64) {
        archive += zip64End(frame, count, size, start, static_cast<quint64>(archive.size() - zero));
    }
    const bool elsewhere = zip64 && frame.saturated;
    const QByteArray listed = number(2, orLie(frame.count, elsewhere ? saturated16 : count));
    return archive + "PK\5\6" + QByteArray(4, 0) + listed + listed +
           number(4, orLie(frame.directorySize, elsewhere ? saturated32 : size)) +
           number(4, orLie(frame.directoryOffset, elsewhere ? saturated32 : start)) +
           sized(frame.comment) + frame.comment;
}

QByteArray RawZip::localHeader(const Entry &entry)
{
    return localHeaderOf(entry, fieldsOf(entry, dataOf(entry)));
}

quint32 RawZip::checksum(const QByteArray &content)
{
    return static_cast<quint32>(
        crc32(0, reinterpret_cast<const Bytef *>(content.constData()), // NOLINT
              static_cast<uInt>(content.size())));
}

RawZip::Entry RawZip::zeros(const QByteArray &name, qint64 count)
{
    return {name, QByteArray(count, 0), file644, true};
}

QByteArray RawZip::unicodePath(const QByteArray &name, const QByteArray &unicodeName)
{
    const QByteArray field = number(1, 1) + number(4, checksum(name)) + unicodeName;
    return number(2, 0x7075) + sized(field) + field;
}

} // namespace brindle
