#include "services/Tools.h"

#include "services/CancellationError.h"
#include "services/Files.h"
#include "services/ManagedProcess.h"
#include "services/SetupError.h"
#include "services/Worker.h"

namespace brindle {

QCoro::Task<> Tools::unzip(QString archiveTool, QString zip, QString destination,
                           std::stop_token stop)
{
    const auto createFolder = [destination] { Files::createFolder(destination); };
    auto creating = runOnWorker(createFolder);
    co_await creating;
    checkCancellation(stop);

    const QStringList arguments{QStringLiteral("-x"), QStringLiteral("-k"), zip, destination};
    const ManagedProcess::LineCallback discard = [](const QString &) {};
    const auto tool = std::make_shared<ManagedProcess>(archiveTool, arguments, discard);
    auto running = tool->run();
    const std::stop_callback endTool(stop, [tool] { tool->terminate(); });
    const qint32 status = co_await running;
    checkCancellation(stop);
    if (status != 0) {
        throw SetupError(QStringLiteral("Unzipping failed (ditto exit code %1). The download may "
                                        "be damaged.")
                                 .arg(status));
    }
}

} // namespace brindle
