#include "net/FileDownloader.h"

#include "base/Error.h"
#include "base/Worker.h"
#include "files/Files.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QUuid>

#include <cerrno>
#include <cstdio>
#include <utility>

namespace brindle {

namespace {

/// A hidden name in the destination's folder, so that the file can take its place by a rename.
QString temporaryFor(const QString &destination)
{
    const auto id = QUuid::createUuid().toString(QUuid::WithoutBraces);
    return QFileInfo(destination).dir().filePath(QStringLiteral(".%1.part").arg(id));
}

/// Blocks.
void replace(const QString &destination, const QString &file)
{
    const QByteArray from = QFile::encodeName(file);
    const QByteArray to = QFile::encodeName(destination);
    if (std::rename(from.constData(), to.constData()) == 0) {
        return;
    }
    if (errno == EISDIR || errno == ENOTEMPTY || errno == EEXIST) {
        try {
            Files::remove(destination);
        } catch (const SystemError &) {
            // Ignored: the rename will say what is in its way.
        }
        if (std::rename(from.constData(), to.constData()) == 0) {
            return;
        }
    }
    throw SystemError::fromErrno(errno, destination);
}

void checkStatus(const TransferResult &result)
{
    if (result.status != 200) {
        throw SetupError(
            QStringLiteral("The server answered with status %1 for %2.")
                .arg(QString::number(result.status),
                     result.host.isEmpty() ? QStringLiteral("the download") : result.host));
    }
}

} // namespace

void FileDownloader::setOnProgress(ProgressCallback onProgress)
{
    onProgress_ = std::move(onProgress);
}

QCoro::Task<> FileDownloader::download(QUrl url, QString destination, std::stop_token stop,
                                       TransferOptions options)
{
    const QString temporary = temporaryFor(destination);
    const auto transfer = Transfer::toFile(url, temporary, onProgress_, std::move(options));
    {
        const std::lock_guard guard(lock_);
        task_ = transfer;
    }
    // From here on nothing of this object is used: it may go.
    std::exception_ptr error;
    try {
        const TransferResult result = co_await transfer->run(stop);
        checkStatus(result);
        const auto move = [destination, temporary] { replace(destination, temporary); };
        co_await runOnWorker(move);
    } catch (const SystemError &failed) {
        // The user knows the destination, not the hidden name beside it.
        error = std::make_exception_ptr(
            failed.code != 0 ? SystemError::fromErrno(failed.code, destination) : failed);
    } catch (...) {
        error = std::current_exception();
    }
    if (error) {
        const auto clearUp = [temporary] { std::remove(QFile::encodeName(temporary).constData()); };
        co_await runOnWorker(clearUp);
        std::rethrow_exception(error);
    }
}

void FileDownloader::cancelTask()
{
    std::shared_ptr<Transfer> task;
    {
        const std::lock_guard guard(lock_);
        task = task_;
    }
    if (task) {
        task->cancel();
    }
}

} // namespace brindle
