#include "demo/ZipWriter.h"

#include <QList>

#include <stdexcept>
#include <zip.h>

namespace brindle {

class ZipWriter::Impl
{
public:
    void addSource(const QString &name, zip_source_t *source, quint32 unixMode)
    {
        const QByteArray utf8 = name.toUtf8();
        const zip_int64_t index = name.endsWith(QLatin1Char('/'))
                ? (zip_source_free(source), zip_dir_add(archive, utf8.constData(), ZIP_FL_ENC_UTF_8))
                : zip_file_add(archive, utf8.constData(), source, ZIP_FL_ENC_UTF_8);
        if (index < 0) {
            throw std::runtime_error(zip_strerror(archive));
        }
        const auto entry = static_cast<zip_uint64_t>(index);
        constexpr unsigned modeShift = 16;
        if (unixMode == 0) {
            zip_file_set_external_attributes(archive, entry, 0, ZIP_OPSYS_DOS, 0);
        } else {
            zip_file_set_external_attributes(archive, entry, 0, ZIP_OPSYS_UNIX,
                                             unixMode << modeShift);
        }
    }

    zip_t *archive = nullptr;
    QList<QByteArray> contents; // libzip reads them when the archive is closed
};

ZipWriter::ZipWriter(const QString &file) : impl_(std::make_unique<Impl>())
{
    int code = 0;
    impl_->archive = zip_open(file.toUtf8().constData(), ZIP_CREATE | ZIP_TRUNCATE, &code);
    if (!impl_->archive) {
        throw std::runtime_error("can't write " + file.toStdString());
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
    impl_->contents << content;
    const QByteArray &kept = impl_->contents.last();
    impl_->addSource(name,
                     zip_source_buffer(impl_->archive, kept.constData(),
                                       static_cast<zip_uint64_t>(kept.size()), 0),
                     unixMode);
}

void ZipWriter::addFile(const QString &name, const QString &sourceFile, quint32 unixMode)
{
    impl_->addSource(
            name, zip_source_file(impl_->archive, sourceFile.toUtf8().constData(), 0, -1), unixMode);
}

void ZipWriter::setComment(const QByteArray &comment)
{
    zip_set_archive_comment(impl_->archive, comment.constData(),
                            static_cast<zip_uint16_t>(comment.size()));
}

void ZipWriter::close()
{
    if (zip_close(impl_->archive) != 0) {
        throw std::runtime_error(zip_strerror(impl_->archive));
    }
    impl_->archive = nullptr;
}

} // namespace brindle
