#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <stop_token>

/// File operations on paths without a slash at their end. All block, so call them on worker
/// threads; only the model's few small files are exempt. Failures throw a SystemError that names
/// the path. A requested stop ends a function between two files: deletions leave the rest, others
/// throw CancellationError.
namespace brindle::Files {

/// Creates a folder and its parents, for this user alone. An existing folder is no error and keeps
/// its mode.
void createFolder(const QString &path);

/// Returns a fresh hidden name beside `path`. `removeLeftovers` deletes entries of such names.
QString hiddenSibling(const QString &path);

/// Removes a file, link or whole folder. Renames a folder to a hidden sibling first, so that an
/// interruption never leaves a part of it at `path`; `removeLeftovers` deletes the sibling's rest.
/// Ignores failures: if an entry stays, the next step fails with an error that names it.
void remove(const QString &path, const std::stop_token &stop = {});
/// Deletes a file, link or whole folder, without a rename first. Follows no links.
/// Ignores failures.
void removeInPlace(const QString &path, const std::stop_token &stop = {});

/// Deletes the hidden entries that interrupted calls left in `folder`. Ignores failures.
void removeLeftovers(const QString &folder, const std::stop_token &stop = {});

/// Renames a file, link or whole folder within its file system. Replaces a file or an empty folder
/// at `to`. A failure names `to`.
void rename(const QString &from, const QString &to);

/// Syncs the content of `from`, renames it as `rename` does, and syncs the name.
void move(const QString &from, const QString &to, const std::stop_token &stop = {});

/// Writes a whole file, for this user alone: syncs the content, renames it to `path`, and syncs the
/// name.
void writeAtomically(const QString &path, const QByteArray &content,
                     const std::stop_token &stop = {});

/// Waits until the disk holds a folder and everything in it. Checks for a stop only after that.
void sync(const QString &folder, const std::stop_token &stop = {});

/// Returns the names in a folder in no particular order, hidden ones and dangling links included.
/// Returns nothing for an unreadable folder.
QStringList names(const QString &folder);

} // namespace brindle::Files
