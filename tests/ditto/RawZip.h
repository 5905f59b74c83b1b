#pragma once

#include <QByteArray>
#include <QList>

namespace brindle {

/// Writes zip archives byte by byte (APPNOTE.TXT 4.3), so that a test can make each of them wrong.
class RawZip
{
public:
    struct Entry
    {
        QByteArray name;
        QByteArray content{};
        quint32 mode = 0; ///< whole unix mode; 0 stores none
        bool deflated = false;
        // What is written in place of the truth, where it is not negative (or not empty).
        qint64 size = -1;
        qint64 packedSize = -1;
        qint64 crc = -1;
        int method = -1;
        int flags = -1;
        QByteArray localName{};
    };

    RawZip &add(const Entry &entry);
    /// The archive. `comment` goes into the end record.
    QByteArray bytes(const QByteArray &comment = {}) const;

private:
    QList<Entry> entries_;
};

} // namespace brindle
