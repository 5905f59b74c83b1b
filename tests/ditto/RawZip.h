#pragma once

#include <QByteArray>
#include <QList>

namespace brindle {

/// Writes zip archives byte by byte (APPNOTE.TXT 4.3), so that any byte can be wrong.
class RawZip
{
public:
    // Modes as Unix has them in st_mode.
    static constexpr quint32 file644 = 0100644;
    static constexpr quint32 file755 = 0100755;
    static constexpr quint32 folder755 = 0040755;
    static constexpr quint32 link777 = 0120777;

    struct Entry
    {
        QByteArray name{};
        QByteArray content{};
        quint32 mode = 0; ///< the whole unix mode, or 0 for none
        bool deflated = false;
        // False values. If negative or empty, the archive has the true ones.
        qint64 size = -1;
        qint64 packedSize = -1;
        qint64 crc = -1;
        int method = -1;
        int flags = -1;
        int system = -1; ///< the packer's (APPNOTE.TXT 4.4.2); -1: Unix if there is a mode
        QByteArray localName{};
        QByteArray packed{}; ///< if not empty, replaces the packed `content`
        qint64 localSize = -1;
        qint64 localPackedSize = -1;
        qint64 localCrc = -1;
        int localMethod = -1;
        int localFlags = -1;
        qint64 offset = -1;
        // Other fields.
        QByteArray extra{};      ///< in the directory
        QByteArray localExtra{}; ///< in the entry's own header
        bool zip64 = false;      ///< both headers have the sizes in zip64 fields
        bool descriptor = false; ///< checksum and sizes behind the data instead of before it
    };

    /// The parts around the entries. Values that are not -1 are false.
    struct Frame
    {
        QByteArray comment{};
        QByteArray prefix{};       ///< before everything
        bool prefixCounted = true; ///< offsets count from the prefix's start
        bool zip64 = false;        ///< with a zip64 end record, even if the archive needs none
        qint64 count = -1;         ///< of entries
        qint64 directorySize = -1; ///< in bytes
        qint64 directoryOffset = -1;
        qint64 zip64Offset = -1; ///< of the zip64 end record
        qint64 zip64Count = -1;  ///< of entries, in the zip64 end record
        qint64 zip64Here = -1;   ///< of entries on this disk, in the zip64 end record
        bool saturated = true;   ///< with zip64, the other end record has only maximal numbers
    };

    RawZip() = default;
    explicit RawZip(const QList<Entry> &entries) : entries_(entries) {}

    RawZip &add(const Entry &entry);
    QByteArray bytes() const { return bytes(Frame{}); }
    QByteArray bytes(const Frame &frame) const;

    /// Returns an entry's own header, without its data.
    static QByteArray localHeader(const Entry &entry);
    static quint32 checksum(const QByteArray &content);
    /// Returns a deflated file of zeros, a thousand times larger than its packed bytes.
    static Entry zeros(const QByteArray &name, qint64 count);
    /// Returns an extra field that gives the entry `name` another name, APPNOTE.TXT 4.6.9.
    static QByteArray unicodePath(const QByteArray &name, const QByteArray &unicodeName);

private:
    QList<Entry> entries_;
};

} // namespace brindle
