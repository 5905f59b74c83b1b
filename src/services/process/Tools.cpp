#include "process/Tools.h"

#include "base/Error.h"
#include "base/Worker.h"
#include "ditto/UnpackStatus.h"
#include "files/Files.h"
#include "files/TreeRemoval.h"
#include "process/ManagedProcess.h"

#include <QCoreApplication>
#include <QTimer>

#include <cerrno>
#include <chrono>
#include <exception>
#include <utility>

namespace brindle {

namespace {

using ditto::UnpackStatus;

/// For a tool that was asked to end.
constexpr std::chrono::seconds patience{1};

[[noreturn]] void fail(qint32 status, const QString &zip, const QString &destination)
{
    const auto what = static_cast<UnpackStatus>(status);
    for (const auto &[reason, number] : ditto::destinationErrors) {
        if (what == reason) {
            throw SystemError::fromErrno(number, destination);
        }
    }
    if (what == UnpackStatus::readError) {
        throw SystemError::fromErrno(EIO, zip);
    }
    if (what == UnpackStatus::linksUnsupported) {
        throw SetupError(QStringLiteral("The download holds symbolic links, and the disk of %1 "
                                        "can't keep them.")
                             .arg(destination));
    }
    throw SetupError(QStringLiteral("Unzipping failed (ditto exit code %1). "
                                    "The download may be damaged.")
                         .arg(status));
}

/// Returns the tool's exit status.
QCoro::Task<qint32> runTool(QString archiveTool, QString archive, QString folder,
                            std::shared_ptr<QFile> opened, std::stop_token stop)
{
    const QString source = opened ? QStringLiteral("/dev/fd/%1").arg(opened->handle()) : archive;
    const QStringList arguments{QStringLiteral("-x"), QStringLiteral("-k"), source, folder};
    // What it prints names entries of the archive, and proves nothing.
    const LineCallback discard = [](const QString &) {};
    // What it leaves is ours to clear up.
    const auto tool = std::make_shared<ManagedProcess>(archiveTool, arguments, discard,
                                                       ManagedProcess::OnParentDeath::kill);
    tool->isolate(opened ? opened->handle() : -1);
    // Started before the callback is installed: a request before the start would be lost.
    const auto running = tool->run();
    const std::stop_callback end(stop, [tool] {
        tool->terminate();
        QTimer::singleShot(patience, QCoreApplication::instance(), [tool] { tool->kill(); });
    });
    const qint32 status = co_await running;
    // Closed, a deleted archive is gone.
    opened.reset();
    co_return status;
}

/// Unpacks into a folder, from where it takes its place if that is another one.
QCoro::Task<> unzipBy(QString folder, QString archiveTool, QString zip, QString destination,
                      std::stop_token stop, Tools::UnzipOptions options)
{
    checkCancellation(stop);
    auto running = runTool(archiveTool, zip, folder, std::move(options.opened), stop);
    const qint32 status = co_await running;
    checkCancellation(stop);
    if (status != 0) {
        fail(status, zip, destination);
    }
    const auto place = [folder, destination, zip, removesArchive = options.removesArchive] {
        if (removesArchive) {
            Files::removeIfPossible(zip);
        }
        if (folder != destination) {
            // Tools may give it another mode.
            Files::makePrivate(folder);
            Files::move(folder, destination);
        }
    };
    auto placing = runOnWorker(place);
    co_await placing;
}

} // namespace

QCoro::Task<> Tools::unzip(QString archiveTool, QString zip, QString destination,
                           std::stop_token stop, UnzipOptions options)
{
    const auto prepare = [destination, isStaged = options.isStaged] {
        Files::createFolder(destination);
        return isStaged ? destination : Files::makeHiddenBeside(destination);
    };
    auto preparing = runOnWorker(prepare);
    const QString folder = co_await preparing;

    std::exception_ptr error;
    try {
        auto unpacking = unzipBy(folder, archiveTool, zip, destination, stop, std::move(options));
        co_await unpacking;
    } catch (...) {
        error = std::current_exception();
    }
    if (error && folder != destination) {
        // Ignored: a failure, as removeLeftovers takes what is left.
        const auto clearUp = [folder] { (void)TreeRemoval::remove(QFile::encodeName(folder)); };
        auto clearing = runOnWorker(clearUp);
        co_await clearing;
    }
    if (error) {
        std::rethrow_exception(error);
    }
}

} // namespace brindle
