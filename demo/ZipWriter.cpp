#include "demo/ZipWriter.h"

#include <QFile>

#include <algorithm>
#include <stdexcept>
#include <sys/stat.h>
#include <zip.h>

namespace brindle {

namespace {

constexpr unsigned modeShift = 16;
constexpr zip_uint32_t dosFolder = 0x10;

/// Leaves the UTF-8 flag off ASCII names, like `git archive`. libzip 1.11 would set it.
zip_flags_t encodingOf(const QString &name)
{
    const bool isAscii = std::ranges::all_of(name, [](QChar c) { return c.unicode() < 0x80; });
    return isAscii ? ZIP_FL_ENC_CP437 : ZIP_FL_ENC_UTF_8;
}

} // namespace

ZipWriter::ZipWriter()
    : archive_(zip_open(QFile::encodeName(path()).constData(), ZIP_CREATE | ZIP_TRUNCATE, nullptr))
{
    if (!archive_) {
        throw std::runtime_error("can't make an archive");
    }
}

ZipWriter::~ZipWriter()
{
    if (archive_) {
        zip_discard(archive_);
    }
}

void ZipWriter::check(bool good) const
{
    if (!good) {
        throw std::runtime_error(std::string("can't make an archive: ") + zip_strerror(archive_));
    }
}

void ZipWriter::addFoldersOf(const QString &path)
{
    for (qsizetype at = path.indexOf(u'/'); at > 0; at = path.indexOf(u'/', at + 1)) {
        addFolder(path.left(at));
    }
}

void ZipWriter::add(const QString &name, const QByteArray &content, quint32 unixMode)
{
    addFoldersOf(name);
    const QByteArray &kept = contents_.emplace_back(content);
    zip_source_t *const source =
        zip_source_buffer(archive_, kept.constData(), static_cast<zip_uint64_t>(kept.size()), 0);
    const zip_int64_t index =
        zip_file_add(archive_, name.toUtf8().constData(), source, encodingOf(name));
    check(index >= 0);
    const auto entry = static_cast<zip_uint64_t>(index);
    if ((unixMode & S_IFMT) == S_IFLNK) {
        zip_set_file_compression(archive_, entry, ZIP_CM_STORE, 0);
    }
    zip_file_set_external_attributes(
        archive_, entry, 0, unixMode == 0 ? ZIP_OPSYS_DOS : ZIP_OPSYS_UNIX, unixMode << modeShift);
}

void ZipWriter::addFolder(const QString &name)
{
    if (!folders_.insert(name).second) {
        return;
    }
    addFoldersOf(name);
    const zip_int64_t index = zip_dir_add(archive_, name.toUtf8().constData(), encodingOf(name));
    check(index >= 0);
    zip_file_set_external_attributes(archive_, static_cast<zip_uint64_t>(index), 0, ZIP_OPSYS_DOS,
                                     dosFolder);
}

void ZipWriter::setComment(const QByteArray &comment)
{
    check(zip_set_archive_comment(archive_, comment.constData(),
                                  static_cast<zip_uint16_t>(comment.size())) == 0);
}

QByteArray ZipWriter::close()
{
    check(zip_close(archive_) == 0);
    archive_ = nullptr;
    QFile file(path());
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace brindle
