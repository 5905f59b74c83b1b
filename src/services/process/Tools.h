#pragma once

#include <QCoroTask>
#include <QFile>
#include <QString>
#include <QStringList>

#include <functional>
#include <memory>
#include <stop_token>

/// Runs outside programs, such as the unpacker. Main thread only.
namespace brindle::Tools {

/// Runs a program and returns its exit status, or the number of the signal that ended it. The
/// program has no input, output or terminal, inherits `descriptor` unless that is -1, and dies with
/// the launcher. `stop` sends SIGTERM, and SIGKILL a second later. Throws SystemError when the
/// program can't be started.
QCoro::Task<qint32> run(QString program, QStringList arguments, std::stop_token stop = {},
                        int descriptor = -1);

/// Moves an unpacked folder to its final path. Runs on a worker thread.
using Place = std::function<void(const QString &unpacked)>;

/// Unpacks the archive `zip` into a hidden folder beside `destination`, deletes the archive, then
/// calls `place` with that folder. In the end a worker deletes the folder, if `place` left it.
/// Keeps execute bits and symbolic links.
///
/// `archiveTool` is the absolute path of a program with ditto's command line (`-x -k archive
/// destination`). The program reads the open archive `file` as "/dev/fd/" and its number. So it
/// never unpacks another file that has taken the path `zip`.
///
/// Throws SystemError for a fault of the folder, the disk or the tool's start, SetupError for a
/// fault of the archive, the errors of `place`, and CancellationError after `stop`.
QCoro::Task<> unzip(QString archiveTool, QString zip, std::shared_ptr<QFile> file,
                    QString destination, Place place, std::stop_token stop);

/// Replaces `destination` with the archive's content. `destination` stays empty until the whole
/// content has reached the disk. Throws as `unzip`.
QCoro::Task<> replaceFolder(QString archiveTool, QString zip, std::shared_ptr<QFile> file,
                            QString destination, std::stop_token stop);

} // namespace brindle::Tools
