#include "ZipReader.h"

#include <QFile>
#include <QtEndian>

#include <stdexcept>
#include <zip.h>

namespace brindle {

namespace {

// Offsets in a record of the central directory, from PKWARE's APPNOTE.TXT, 4.3.12.
constexpr qsizetype flagsAt = 8;
constexpr qsizetype methodAt = 10;
constexpr qsizetype nameLengthAt = 28;
constexpr qsizetype extraLengthAt = 30;
constexpr qsizetype commentLengthAt = 32;
constexpr qsizetype headLength = 46;

quint16 word(const QByteArray &bytes, qsizetype at)
{
    return qFromLittleEndian<quint16>(bytes.constData() + at);
}

} // namespace

ZipReader::ZipReader(const QString &file)
{
    int code = 0;
    zip_t *archive = zip_open(file.toUtf8().constData(), ZIP_RDONLY | ZIP_CHECKCONS, &code);
    if (!archive) {
        throw std::runtime_error("not an archive: " + file.toStdString());
    }
    const auto count = static_cast<zip_uint64_t>(zip_get_num_entries(archive, 0));
    for (zip_uint64_t index = 0; index < count; ++index) {
        zip_stat_t stat;
        zip_stat_index(archive, index, ZIP_FL_ENC_RAW, &stat);
        Entry entry;
        zip_file_get_external_attributes(archive, index, 0, &entry.system, &entry.attributes);
        entry.content.resize(static_cast<qsizetype>(stat.size));
        if (zip_file_t *content = zip_fopen_index(archive, index, 0)) {
            zip_fread(content, entry.content.data(), stat.size);
            zip_fclose(content);
        }
        names.append(stat.name);
        entries.insert(stat.name, entry);
    }
    int length = 0;
    const char *text = zip_get_archive_comment(archive, &length, ZIP_FL_ENC_RAW);
    comment = QByteArray(text, length);
    zip_discard(archive);

    // libzip does not tell the flags.
    QFile raw(file);
    if (!raw.open(QIODevice::ReadOnly)) {
        throw std::runtime_error("can't read " + file.toStdString());
    }
    const QByteArray bytes = raw.readAll();
    qsizetype at = bytes.lastIndexOf("PK\x05\x06");
    at = qFromLittleEndian<quint32>(bytes.constData() + at + 16);
    for (zip_uint64_t index = 0; index < count; ++index) {
        const quint16 nameLength = word(bytes, at + nameLengthAt);
        Entry &entry = entries[bytes.mid(at + headLength, nameLength)];
        entry.flags = word(bytes, at + flagsAt);
        entry.method = word(bytes, at + methodAt);
        at += headLength + nameLength + word(bytes, at + extraLengthAt) +
              word(bytes, at + commentLengthAt);
    }
}

} // namespace brindle
