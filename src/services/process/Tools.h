#pragma once

#include <QCoroTask>
#include <QFile>
#include <QString>
#include <QStringList>

#include <memory>
#include <stop_token>

namespace brindle {

/// Steps that an outside program does.
namespace Tools {

/// Runs a program to its end and returns its exit status, or the signal's number. What it prints is
/// thrown away, it reads nothing and has no terminal, and it is killed when the launcher dies.
/// `descriptor`, if not -1, is one of ours that it gets. `stop` ends it: at once, or after a second
/// if it does not react. Throws SystemError when it can't be started. Main thread.
QCoro::Task<qint32> run(QString program, QStringList arguments, std::stop_token stop = {},
                        int descriptor = -1);

struct UnzipOptions
{
    /// The archive, open for reading: the tool reads this very file, whatever lies at the archive's
    /// path by then. For tools that take "/dev/fd/" and a number for a path.
    std::shared_ptr<QFile> opened;
    /// The archive has done its work once it is unpacked: it is deleted before what was unpacked
    /// is waited for to reach the disk, since all that is not on the disk goes there then.
    bool removesArchive = false;
    /// The destination lies in a staging folder, where nobody takes a half for the whole: it is
    /// unpacked there at once, and not waited for.
    bool isStaged = false;
};

/// Unpacks a zip archive into a folder, which is created with its parents and must be empty.
/// `archiveTool` is the absolute path of a program with ditto's command line (`-x -k archive
/// destination`). Keeps execute bits and symbolic links.
///
/// Whatever interrupts it, what is at `destination` is empty or all of it: it is unpacked into a
/// hidden folder beside it, which Files::removeLeftovers knows, and moved there when it is on the
/// disk.
///
/// Throws SystemError (folder, launch; and when the tool says that it can't write there, or can't
/// read the archive), SetupError with the tool's exit status or when links can't be kept, or
/// CancellationError after `stop` ended the tool.
QCoro::Task<> unzip(QString archiveTool, QString zip, QString destination, std::stop_token stop,
                    UnzipOptions options = {});

} // namespace Tools

} // namespace brindle
