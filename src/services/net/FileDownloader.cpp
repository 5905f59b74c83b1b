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
    const auto isRenamed = [from = QFile::encodeName(file), to = QFile::encodeName(destination)] {
        return std::rename(from.constData(), to.constData()) == 0;
    };
    if (isRenamed()) {
        return;
    }
    if (errno == EISDIR || errno == ENOTEMPTY || errno == EEXIST) {
        Files::removeIfPossible(destination);
        if (isRenamed()) {
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

QCoro::Task<std::shared_ptr<QFile>> FileDownloader::download(QUrl url, QString destination,
                                                             std::stop_token stop,
                                                             TransferOptions options)
{
    std::stop_source task;
    {
        const std::lock_guard guard(lock_);
        task_ = task;
    }
    const std::stop_callback onStop(stop, [&task] { task.request_stop(); });
    const QString temporary = temporaryFor(destination);
    auto fetching =
        Transfer::toFile(url, temporary, onProgress_, task.get_token(), std::move(options));
    // From here on nothing of this object is used: it may go.
    std::exception_ptr error;
    std::shared_ptr<QFile> file;
    try {
        const TransferResult result = co_await fetching;
        checkStatus(result);
        file = result.file;
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
        const auto clearUp = [temporary] { QFile::remove(temporary); };
        co_await runOnWorker(clearUp);
        std::rethrow_exception(error);
    }
    co_return file;
}

void FileDownloader::cancelTask()
{
    const auto running = [this] {
        const std::lock_guard guard(lock_);
        return task_;
    };
    running().request_stop();
}

} // namespace brindle
