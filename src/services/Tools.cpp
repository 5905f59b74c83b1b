#include "services/Tools.h"

#include "services/CancellationError.h"
#include "services/Files.h"
#include "services/ManagedProcess.h"
#include "services/SetupError.h"
#include "services/Worker.h"

#include <memory>
#include <stop_token>

namespace brindle {

QCoro::Task<> Tools::unzip(QString archiveTool, QString zip, QString destination,
                           std::stop_token stop)
{
    const auto createDestination = [destination] { Files::createFolder(destination); };
    co_await runOnWorker(createDestination);
    checkCancellation(stop);

    const QStringList arguments{QStringLiteral("-x"), QStringLiteral("-k"), zip, destination};
    const auto discard = [](const QString &) {};
    // What it would put in its place later could be in the way of the next launcher's.
    const auto tool = std::make_shared<ManagedProcess>(archiveTool, arguments, discard,
                                                       ManagedProcess::Bond::terminated);
    // Started before the callback is installed: a request before the start would be lost.
    const auto running = tool->run();
    const std::stop_callback terminate(stop, [tool] { tool->terminate(); });
    const qint32 status = co_await running;
    checkCancellation(stop);

    if (status != 0) {
        throw SetupError(QStringLiteral("Unzipping failed (ditto exit code %1). "
                                        "The download may be damaged.")
                             .arg(status));
    }
}

} // namespace brindle
