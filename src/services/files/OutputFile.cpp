#include "files/OutputFile.h"

#include "base/Error.h"
#include "platform/Disk.h"

#include <utility>

namespace brindle {

using namespace Qt::StringLiterals;

OutputFile::OutputFile(const QString &path, const QString &shownPath)
    : path_(shownPath.isEmpty() ? path : shownPath), file_(std::make_shared<QFile>(path))
{
    check(file_->open(QFile::ReadWrite | QFile::NewOnly | QFile::Unbuffered,
                      QFile::ReadOwner | QFile::WriteOwner));
}

void OutputFile::write(std::string_view bytes)
{
    while (!bytes.empty()) {
        // A full disk may take only some of the bytes. The next write then fails with the reason.
        const qint64 count = file_->write(bytes.data(), static_cast<qint64>(bytes.size()));
        check(count != -1);
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
}

void OutputFile::clear()
{
    check(file_->resize(0)); // the position goes back, too
}

void OutputFile::sync()
{
    if (const int error = Disk::syncFile(file_->handle()); error != 0) {
        throw SystemError::fromErrno(error, path_);
    }
}

std::shared_ptr<QFile> OutputFile::take()
{
    check(file_->seek(0));
    return std::exchange(file_, nullptr);
}

void OutputFile::check(bool isGood) const
{
    if (!isGood) {
        throw SystemError(path_ + u": "_s + file_->errorString());
    }
}

} // namespace brindle
