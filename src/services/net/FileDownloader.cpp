#include "net/FileDownloader.h"

#include "base/Error.h"
#include "base/Threads.h"
#include "files/Files.h"
#include "files/OutputFile.h"

#include <cstdio>
#include <exception>
#include <utility>

namespace brindle {

using namespace Qt::StringLiterals;

namespace {

void rename(const QString &from, const QString &to)
{
    (void)std::rename(QFile::encodeName(from).constData(), QFile::encodeName(to).constData());
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
    const QString earlier = Files::hiddenSibling(destination);
    const auto create = [=] {
        rename(destination, earlier);
        return std::make_shared<OutputFile>(destination);
    };
    TransferResult result;
    std::exception_ptr error;
    try {
        auto file = co_await runOnWorker(create);
        result = co_await Transfer::toFile(url, std::move(file), onProgress, stop, options);
        if (result.status != 200) {
            throw SetupError(statusText(result.status, result.host));
        }
    } catch (...) {
        error = std::current_exception();
    }
    co_await runOnWorker([=] {
        if (error) {
            QFile::remove(destination);
            rename(earlier, destination);
        } else {
            Files::remove(earlier);
        }
    });
    if (error) {
        std::rethrow_exception(error);
    }
    co_return result.file;
}

QString FileDownloader::statusText(int status, const QString &host)
{
    return u"The server answered with status %1 for %2."_s.arg(
        QString::number(status), host.isEmpty() ? u"the download"_s : host);
}

} // namespace brindle
