#include "process/Tools.h"

#include "base/Error.h"
#include "base/Worker.h"
#include "ditto/UnpackStatus.h"
#include "files/Files.h"
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

/// Unpacks into a folder, from where it takes its place if that is another one.
QCoro::Task<> unzipBy(QString folder, QString archiveTool, QString zip, QString destination,
                      std::stop_token stop, Tools::UnzipOptions options)
{
    checkCancellation(stop);
    const int descriptor = options.opened ? options.opened->handle() : -1;
    const QString source = options.opened ? QStringLiteral("/dev/fd/%1").arg(descriptor) : zip;
    const QStringList arguments{QStringLiteral("-x"), QStringLiteral("-k"), source, folder};
    const qint32 status = co_await Tools::run(archiveTool, arguments, stop, descriptor);
    // Closed, a deleted archive is gone.
    options.opened.reset();
    checkCancellation(stop);
    if (status != 0) {
        fail(status, zip, destination);
    }
    co_await runOnWorker([folder, destination, zip, removesArchive = options.removesArchive] {
        if (removesArchive) {
            Files::removeIfPossible(zip);
        }
        if (folder != destination) {
            // Tools may give it another mode.
            Files::makePrivate(folder);
            Files::move(folder, destination);
        }
    });
}

} // namespace

QCoro::Task<qint32> Tools::run(QString program, QStringList arguments, std::stop_token stop,
                               int descriptor)
{
    const auto tool = std::make_shared<ManagedProcess>(
        program, arguments, [](const QString & /*line*/) {}, ManagedProcess::OnParentDeath::kill);
    tool->isolate(descriptor);
    const std::stop_callback escalation(stop, [tool] {
        QTimer::singleShot(patience, QCoreApplication::instance(), [tool] { tool->kill(); });
    });
    co_return co_await tool->run(stop);
}

QCoro::Task<> Tools::unzip(QString archiveTool, QString zip, QString destination,
                           std::stop_token stop, UnzipOptions options)
{
    const QString folder = co_await runOnWorker([destination, isStaged = options.isStaged] {
        Files::createFolder(destination);
        return isStaged ? destination : Files::makeHiddenBeside(destination);
    });
    std::exception_ptr error;
    try {
        co_await unzipBy(folder, archiveTool, zip, destination, stop, std::move(options));
    } catch (...) {
        error = std::current_exception();
    }
    if (error && folder != destination) {
        // Ignored: a failure, as removeLeftovers takes what is left.
        co_await runOnWorker([folder] { Files::removeInPlace(folder); });
    }
    if (error) {
        std::rethrow_exception(error);
    }
}

} // namespace brindle
