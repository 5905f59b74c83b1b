#include "process/Tools.h"

#include "base/Error.h"
#include "base/Threads.h"
#include "ditto/UnpackStatus.h"
#include "files/Files.h"
#include "process/ManagedProcess.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QScopeGuard>
#include <QTimer>

#include <cerrno>
#include <chrono>
#include <utility>

namespace brindle {

using namespace Qt::StringLiterals;

QCoro::Task<qint32> Tools::run(QString program, QStringList arguments, std::stop_token stop,
                               int descriptor)
{
    const auto tool = std::make_shared<ManagedProcess>(
        program, arguments, [](const QString & /*line*/) {},
        ChildProcess::Setup{
            .isIsolated = true, .descriptor = descriptor, .endsWithLauncher = true});
    static constexpr std::chrono::seconds patience(1); // between the two signals
    const std::stop_callback escalation(stop, [tool] {
        QTimer::singleShot(patience, QCoreApplication::instance(), [tool] { tool->kill(); });
    });
    co_return co_await tool->run(stop);
}

QCoro::Task<> Tools::unzip(QString archiveTool, QString zip, std::shared_ptr<QFile> file,
                           QString destination, Place place, std::stop_token stop)
{
    const QString folder = Files::hiddenSibling(destination);
    co_await runOnWorker([folder] { Files::createFolder(folder); });
    // After a stop `finish` may still run, so rename the folder away at once.
    const auto cleanup =
        qScopeGuard([folder] { Threads::startOnWorker([folder] { Files::remove(folder); }); });
    const int descriptor = file->handle();
    const QStringList arguments{u"-x"_s, u"-k"_s, u"/dev/fd/%1"_s.arg(descriptor), folder};
    const qint32 status = co_await run(archiveTool, arguments, stop, descriptor);
    checkCancellation(stop);
    if (status > ditto::destinationFailed) {
        throw SystemError::fromErrno(status - ditto::destinationFailed, destination);
    }
    if (status != 0) {
        throw SetupError(
            u"Unzipping failed (ditto exit code %1). The download may be damaged."_s.arg(status));
    }
    auto finish = [=, file = std::move(file)]() mutable {
        // Delete the archive first, so that the sync in `place` need not write it.
        file.reset();
        QFile::remove(zip);
        place(folder);
    };
    co_await runOnWorker(std::move(finish), stop);
}

QCoro::Task<> Tools::replaceFolder(QString archiveTool, QString zip, std::shared_ptr<QFile> file,
                                   QString destination, std::stop_token stop)
{
    checkCancellation(stop);
    co_await runOnWorker([destination, stop] {
        Files::remove(destination, stop);
        Files::removeLeftovers(QFileInfo(destination).path(), stop);
        Files::createFolder(destination);
    });
    const Place place = [destination, stop](const QString &folder) {
        // The archive tool may have changed the mode.
        QFile::setPermissions(folder, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        Files::move(folder, destination, stop);
    };
    co_await unzip(archiveTool, zip, std::move(file), destination, place, stop);
}

} // namespace brindle
