#pragma once

#include <QByteArray>
#include <QMap>
#include <QString>

namespace brindle {

/// A zip archive's directory and contents, read in the archive's order, for comparisons.
class ZipReader
{
public:
    struct Entry
    {
        QByteArray content;
        quint8 system = 0; ///< who made it: 0 MS-DOS, 3 unix
        quint32 attributes = 0;
        quint16 flags = 0;
        quint16 method = 0;
    };

    /// Throws std::runtime_error when it is not a sound archive.
    explicit ZipReader(const QString &file);

    QList<QByteArray> names;
    QMap<QByteArray, Entry> entries;
    QByteArray comment;
};

} // namespace brindle
