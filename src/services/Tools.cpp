#include "services/Tools.h"

#include "services/CancellationError.h"
#include "services/Files.h"
#include "services/ManagedProcess.h"
#include "services/SetupError.h"
#include "services/SystemError.h"
#include "services/Worker.h"

#include <QStringView>

#include <array>
#include <atomic>
#include <cerrno>
#include <memory>
#include <stop_token>
#include <utility>

namespace brindle {

namespace {

/// How both dittos end a line about a place that they can't write; they don't know languages.
constexpr std::array<std::pair<int, QStringView>, 5> reasons{{
    {ENOSPC, u": No space left on device"},
    {EDQUOT, u": Disk quota exceeded"},
    {EROFS, u": Read-only file system"},
    {EACCES, u": Permission denied"},
    {EIO, u": Input/output error"},
}};

/// The errno behind such a line, 0 for all others.
int reasonOf(const QString &line)
{
    if (line.startsWith(u"ditto: ")) {
        for (const auto &[number, text] : reasons) {
            if (line.endsWith(text)) {
                return number;
            }
        }
    }
    return 0;
}

} // namespace

QCoro::Task<> Tools::unzip(QString archiveTool, QString zip, QString destination,
                           std::stop_token stop)
{
    const auto createDestination = [destination] { Files::createFolder(destination); };
    co_await runOnWorker(createDestination);
    checkCancellation(stop);

    const QStringList arguments{QStringLiteral("-x"), QStringLiteral("-k"), zip, destination};
    // All else that it prints is discarded.
    const auto reason = std::make_shared<std::atomic<int>>(0);
    const auto notice = [reason](const QString &line) {
        if (const int number = reasonOf(line)) {
            *reason = number;
        }
    };
    // What it would put in its place later could be in the way of the next launcher's.
    const auto tool = std::make_shared<ManagedProcess>(archiveTool, arguments, notice,
                                                       ManagedProcess::Bond::terminated);
    // Started before the callback is installed: a request before the start would be lost.
    const auto running = tool->run();
    const std::stop_callback terminate(stop, [tool] { tool->terminate(); });
    const qint32 status = co_await running;
    checkCancellation(stop);

    if (status != 0 && *reason != 0) {
        // The download is as good as it was.
        throw SystemError::fromErrno(*reason, destination);
    }
    if (status != 0) {
        throw SetupError(QStringLiteral("Unzipping failed (ditto exit code %1). "
                                        "The download may be damaged.")
                             .arg(status));
    }
}

} // namespace brindle
