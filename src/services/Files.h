#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <stop_token>

namespace brindle {

/// File operations that fail with a SystemError naming the path. All block: worker threads only,
/// save for the few small files that the model reads and writes itself.
class Files
{
public:
    /// Makes a folder and its parents; no error when it exists.
    static void createFolder(const QString &path);

    /// Removes a file, link or whole folder. It disappears from its place in one step (renamed to
    /// a hidden sibling first) and is deleted after that, so that whatever interrupts the deletion
    /// never leaves a part of it where it was. Folders without permission bits go as well. Nothing
    /// there is not an error; something that remains at `path` is. What can't be deleted of the
    /// hidden sibling, or is left of it when `stop` is requested, is left to `clearRemoved`.
    static void remove(const QString &path, const std::stop_token &stop = {});

    /// Deletes what interrupted `remove`, `move` and `writeAtomically` calls left in `folder`.
    /// Failures are ignored.
    static void clearRemoved(const QString &folder);

    /// Moves a file, link or whole folder; a file or an empty folder at `to` is replaced. On one
    /// file system that is a rename. Across two it is a copy with permission bits and links, which
    /// also appears at `to` by one rename; `from` goes last.
    static void move(const QString &from, const QString &to);

    /// Writes a whole file by one rename, so that it is never seen half written.
    static void writeAtomically(const QString &path, const QByteArray &content);

    /// The names in a folder, hidden ones and dangling links included; empty when unreadable. No
    /// particular order.
    static QStringList names(const QString &folder);
};

} // namespace brindle
