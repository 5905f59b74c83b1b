#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <stop_token>

/// File operations that fail with a SystemError naming the path. All block: worker threads only,
/// save for the few small files that the model reads and writes itself.
namespace brindle::Files {

/// Makes a folder and its parents, for this user alone; no error when it exists.
void createFolder(const QString &path);

/// Takes every right of others to a folder away, if it is this user's. Failures are ignored.
void makePrivate(const QString &folder);

/// Makes a hidden folder beside `path`, for this user alone, which `removeLeftovers` takes for a
/// leftover. Returns its path.
QString makeHiddenBeside(const QString &path);

/// Removes a file, link or whole folder. It disappears from its place in one step (renamed to a
/// hidden sibling first) and is deleted after that, so that whatever interrupts the deletion never
/// leaves a part of it where it was. Folders without permission bits go as well. Nothing there is
/// not an error; something that remains at `path` is. What can't be deleted of the hidden sibling,
/// or is left of it when `stop` is requested, is left to `removeLeftovers`.
void remove(const QString &path, const std::stop_token &stop = {});
/// The same with failures ignored: what stays in the way makes the next step fail, with an error
/// that names the place.
void removeIfPossible(const QString &path, const std::stop_token &stop = {});
/// Deletes without a hidden sibling, for folders whose own name tells that they are left over.
/// Failures are ignored, and what is left when `stop` is requested.
void removeInPlace(const QString &path, const std::stop_token &stop = {});

/// Deletes what interrupted `remove`, `move` and `writeAtomically` calls left in `folder`. Failures
/// are ignored, and what is left when `stop` is requested.
void removeLeftovers(const QString &folder, const std::stop_token &stop = {});

/// Moves a file, link or whole folder; a file or an empty folder at `to` is replaced. On one file
/// system that is a rename. Across two it is a copy with permission bits and links, which also
/// appears at `to` by one rename; `from` goes last. All that is moved is on the disk before it is
/// at `to`, and it is there on the disk when this returns.
void move(const QString &from, const QString &to);

/// Writes a whole file by one rename, so that it is never seen half written, not even after a power
/// cut; it is on the disk when this returns. For this user alone.
void writeAtomically(const QString &path, const QByteArray &content);

/// Waits until a folder with all that is in it is on the disk.
void sync(const QString &folder);

/// The names in a folder, hidden ones and dangling links included; empty when unreadable. No
/// particular order.
QStringList names(const QString &folder);

} // namespace brindle::Files
