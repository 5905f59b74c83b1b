#include "net/FileDownloader.h"

#include "base/Error.h"
#include "base/Threads.h"
#include "files/Files.h"
#include "files/OutputFile.h"

#include <QScopeGuard>

#include <utility>

namespace brindle {

using namespace Qt::StringLiterals;

QCoro::Task<std::shared_ptr<QFile>> FileDownloader::download(QUrl url, QString destination,
                                                             std::stop_token stop,
                                                             TransferOptions options)
{
    const ProgressCallback progress = onProgress;
    const QString hidden = Files::hiddenSibling(destination);
    const auto cleanup = qScopeGuard([hidden] { // after a failure
        Threads::startOnWorker([hidden] { QFile::remove(hidden); });
    });
    auto file =
        co_await runOnWorker([=] { return std::make_shared<OutputFile>(hidden, destination); });
    TransferResult result =
        co_await Transfer::toFile(url, std::move(file), progress, stop, options);
    if (result.status != 200) {
        throw SetupError(statusText(result.status, result.host));
    }
    co_await runOnWorker([=] {
        Files::remove(destination);
        Files::rename(hidden, destination);
    });
    co_return result.file;
}

QString FileDownloader::statusText(int status, const QString &host)
{
    return u"The server answered with status %1 for %2."_s.arg(
        QString::number(status), host.isEmpty() ? u"the download"_s : host);
}

} // namespace brindle
