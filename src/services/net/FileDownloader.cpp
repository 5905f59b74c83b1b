#include "net/FileDownloader.h"

#include "base/Error.h"
#include "base/Worker.h"
#include "files/Files.h"

#include <QFileInfo>
#include <QUuid>

#include <cstdio>
#include <utility>

namespace brindle {

using namespace Qt::StringLiterals;

namespace {

bool rename(const QString &from, const QString &to)
{
    return std::rename(QFile::encodeName(from).constData(), QFile::encodeName(to).constData()) == 0;
}

/// Renames what lies at `path` to a hidden name, which is returned; empty if nothing lies there.
/// Blocks.
QString setAside(const QString &path)
{
    const QString hidden =
        QFileInfo(path).path() + u"/."_s + QUuid::createUuid().toString(QUuid::WithoutBraces);
    return rename(path, hidden) ? hidden : QString();
}

/// Removes what was set aside, or puts it back after a failure. Blocks.
void settle(const QString &destination, const QString &earlier, bool failed)
{
    if (failed) {
        QFile::remove(destination);
    }
    if (failed && !earlier.isEmpty()) {
        rename(earlier, destination);
    } else if (!earlier.isEmpty()) {
        Files::remove(earlier);
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
    const ProgressCallback onProgress = onProgress_;
    const auto makeRoom = [destination] { return setAside(destination); };
    const QString earlier = co_await runOnWorker(makeRoom);
    std::exception_ptr error;
    std::shared_ptr<QFile> file;
    try {
        const TransferResult result =
            co_await Transfer::toFile(url, destination, onProgress, stop, options);
        if (result.status != 200) {
            throw SetupError(statusText(result.status, result.host));
        }
        file = result.file;
    } catch (...) {
        error = std::current_exception();
    }
    const bool failed = error != nullptr;
    const auto end = [destination, earlier, failed] { settle(destination, earlier, failed); };
    co_await runOnWorker(end);
    if (failed) {
        std::rethrow_exception(error);
    }
    co_return file;
}

QString FileDownloader::statusText(int status, const QString &host)
{
    return u"The server answered with status %1 for %2."_s.arg(
        QString::number(status), host.isEmpty() ? u"the download"_s : host);
}

} // namespace brindle
