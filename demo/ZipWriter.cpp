#include "demo/ZipWriter.h"

#include <QFile>

#include <algorithm>
#include <list>
#include <stdexcept>
#include <zip.h>

namespace brindle {

namespace {

/// Names in ASCII bear no flag for UTF-8, as in the archives of `git archive`. Newer libzip gives
/// it to them when it is told UTF-8.
zip_flags_t encodingOf(const QString &name)
{
    const bool isAscii =
        std::all_of(name.begin(), name.end(), [](QChar c) { return c.unicode() < 0x80; });
    return isAscii ? ZIP_FL_ENC_CP437 : ZIP_FL_ENC_UTF_8;
}

constexpr unsigned modeShift = 16;
constexpr quint32 typeMask = 0170000;
constexpr quint32 linkType = 0120000;
constexpr zip_uint32_t dosFolder = 0x10;

} // namespace

class ZipWriter::Impl
{
public:
    [[noreturn]] void fail() const
    {
        throw std::runtime_error("can't write " + path.toStdString() + ": " +
                                 zip_strerror(archive));
    }

    void check(bool good) const
    {
        if (!good) {
            fail();
        }
    }

    void addSource(const QString &name, zip_source_t *source, quint32 unixMode)
    {
        check(source != nullptr);
        const zip_int64_t index =
            zip_file_add(archive, name.toUtf8().constData(), source, encodingOf(name));
        if (index < 0) {
            zip_source_free(source);
            fail();
        }
        const auto entry = static_cast<zip_uint64_t>(index);
        if ((unixMode & typeMask) == linkType) {
            check(zip_set_file_compression(archive, entry, ZIP_CM_STORE, 0) == 0);
        }
        setAttributes(entry, unixMode, 0);
    }

    void setAttributes(zip_uint64_t entry, quint32 unixMode, zip_uint32_t dosAttributes) const
    {
        check(zip_file_set_external_attributes(archive, entry, 0,
                                               unixMode == 0 ? ZIP_OPSYS_DOS : ZIP_OPSYS_UNIX,
                                               unixMode << modeShift | dosAttributes) == 0);
    }

    QString path;
    zip_t *archive = nullptr;
    std::list<QByteArray> contents; // libzip reads them when the archive is closed
    QDateTime time;
};

ZipWriter::ZipWriter(const QString &archive) : impl_(std::make_unique<Impl>())
{
    impl_->path = archive;
    int code = 0;
    impl_->archive =
        zip_open(QFile::encodeName(archive).constData(), ZIP_CREATE | ZIP_TRUNCATE, &code);
    if (!impl_->archive) {
        zip_error_t error;
        zip_error_init_with_code(&error, code);
        const std::string why = zip_error_strerror(&error);
        zip_error_fini(&error);
        throw std::runtime_error("can't write " + archive.toStdString() + ": " + why);
    }
}

ZipWriter::~ZipWriter()
{
    if (impl_->archive) {
        zip_discard(impl_->archive);
    }
}

void ZipWriter::add(const QString &name, const QByteArray &content, quint32 unixMode)
{
    const QByteArray &kept = impl_->contents.emplace_back(content);
    impl_->addSource(name,
                     zip_source_buffer(impl_->archive, kept.constData(),
                                       static_cast<zip_uint64_t>(kept.size()), 0),
                     unixMode);
}

void ZipWriter::addFile(const QString &name, const QString &sourceFile, quint32 unixMode)
{
    impl_->addSource(
        name, zip_source_file(impl_->archive, QFile::encodeName(sourceFile).constData(), 0, -1),
        unixMode);
}

void ZipWriter::addFolder(const QString &name, quint32 unixMode)
{
    const zip_int64_t index =
        zip_dir_add(impl_->archive, name.toUtf8().constData(), encodingOf(name));
    impl_->check(index >= 0);
    impl_->setAttributes(static_cast<zip_uint64_t>(index), unixMode, dosFolder);
}

void ZipWriter::setComment(const QByteArray &comment)
{
    impl_->check(zip_set_archive_comment(impl_->archive, comment.constData(),
                                         static_cast<zip_uint16_t>(comment.size())) == 0);
}

void ZipWriter::setTime(const QDateTime &time)
{
    impl_->time = time;
}

void ZipWriter::close()
{
    if (impl_->time.isValid()) {
        const auto count = static_cast<zip_uint64_t>(zip_get_num_entries(impl_->archive, 0));
        for (zip_uint64_t entry = 0; entry < count; ++entry) {
            impl_->check(
                zip_file_set_mtime(impl_->archive, entry, impl_->time.toSecsSinceEpoch(), 0) == 0);
        }
    }
    impl_->check(zip_close(impl_->archive) == 0);
    impl_->archive = nullptr;
}

} // namespace brindle
