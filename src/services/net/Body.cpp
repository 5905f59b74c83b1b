#include "net/Body.h"

#include "base/Error.h"
#include "base/Text.h"

#include <QFile>
#include <QFileInfo>

#include <sys/statvfs.h>

#include <cerrno>
#include <utility>

namespace brindle {

namespace {

// libcurl hands bodies over in pieces of 16 KiB; disks and listeners are better served with more.
constexpr std::size_t batchBytes = 262'144;

/// Throws SystemError.
void checkRoom(const QString &file, qint64 bytes)
{
    const QByteArray folder = QFile::encodeName(QFileInfo(file).path());
    struct statvfs disk = {};
    // Some file systems don't know their size and call it 0.
    if (statvfs(folder.constData(), &disk) == 0 && disk.f_blocks > 0 &&
        bytes > static_cast<qint64>(disk.f_bavail) * static_cast<qint64>(disk.f_frsize)) {
        throw SystemError::fromErrno(ENOSPC, file);
    }
}

} // namespace

void Body::begin(qint64 announced, const QString &host)
{
    host_ = host;
    pending_.clear();
    memory_.clear();
    written_ = 0;
    output_.abandon();
    checkLimit(announced);
    if (file_.isEmpty()) {
        return;
    }
    // The second time its own bytes are in the way, which opening it frees.
    if (!std::exchange(hasBegun_, true)) {
        checkRoom(file_, announced);
    }
    output_.open(file_);
    output_.reserve(announced);
}

void Body::add(std::string_view bytes)
{
    pending_ += bytes;
    if (pending_.size() >= batchBytes) {
        flush();
    }
}

void Body::flush()
{
    checkLimit(written_ + static_cast<qint64>(pending_.size()));
    if (file_.isEmpty()) {
        memory_ += QByteArrayView(pending_);
    } else {
        output_.write(pending_);
    }
    if (onBytes_) {
        onBytes_(written_, pending_);
    }
    written_ += static_cast<qint64>(pending_.size());
    pending_.clear();
}

void Body::finish(TransferResult &result)
{
    if (file_.isEmpty()) {
        result.body = std::move(memory_);
    } else {
        result.file = output_.reader();
        output_.finish();
    }
}

void Body::checkLimit(qint64 bytes) const
{
    if (bytes <= limit_) {
        return;
    }
    if (file_.isEmpty()) {
        throw TransferError(
            QStringLiteral("The server's answer is larger than the expected %1 bytes.")
                .arg(limit_));
    }
    throw SetupError(QStringLiteral("The download from %1 is larger than the %2 that this app "
                                    "accepts, so it was stopped.")
                         .arg(host_, Text::byteCount(limit_)));
}

} // namespace brindle
