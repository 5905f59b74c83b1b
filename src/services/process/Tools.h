#pragma once

#include <QCoroTask>
#include <QFile>
#include <QString>
#include <QStringList>

#include <functional>
#include <memory>
#include <stop_token>

/// Steps that an outside program performs. Main thread only.
namespace brindle::Tools {

/// Runs a program and returns its exit status, or the number of the signal that ended it. The
/// program has no input, no terminal and no output, and dies with the launcher. It inherits
/// `descriptor` unless that is -1. `stop` terminates it, and kills it a second later. Throws
/// SystemError when the program can't be started.
QCoro::Task<qint32> run(QString program, QStringList arguments, std::stop_token stop = {},
                        int descriptor = -1);

/// Puts an unpacked folder in its place. Runs on a worker thread.
using Place = std::function<void(const QString &unpacked)>;

/// Unpacks the archive `zip` into a hidden folder beside `destination`, deletes the archive, then
/// calls `place` with that folder. In the end a worker deletes the folder. Keeps execute bits and
/// symbolic links.
///
/// `archiveTool` is the absolute path of a program with ditto's command line (`-x -k archive
/// destination`). The program reads `file`, the open archive, as "/dev/fd/" and its number: another
/// file at the path `zip` is never unpacked.
///
/// Throws SystemError for a fault of the folder, the disk or the tool's start, SetupError for a
/// fault of the archive, the errors of `place`, and CancellationError after `stop`.
QCoro::Task<> unzip(QString archiveTool, QString zip, std::shared_ptr<QFile> file,
                    QString destination, Place place, std::stop_token stop);

/// Replaces `destination` with the archive's content. The content appears at once, after it has
/// reached the disk; until then `destination` is empty. Throws as `unzip`.
QCoro::Task<> replaceFolder(QString archiveTool, QString zip, std::shared_ptr<QFile> file,
                            QString destination, std::stop_token stop);

} // namespace brindle::Tools
