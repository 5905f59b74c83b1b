#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QString>

#include <memory>

namespace brindle {

/// Writes a zip archive with libzip. Nothing is at the archive's place until `close`. Throws
/// std::runtime_error; blocks; any thread, one at a time.
class ZipWriter
{
public:
    explicit ZipWriter(const QString &archive);
    /// Discards an archive that was not closed.
    ~ZipWriter();

    /// Adds a file's content. `unixMode` is the whole mode (type and permissions) to store; 0
    /// stores none, as git does for plain files.
    void add(const QString &name, const QByteArray &content, quint32 unixMode = 0);
    /// The same for a file on disk, which is read when the archive is closed.
    void addFile(const QString &name, const QString &sourceFile, quint32 unixMode = 0);
    /// Adds a folder; `name` without a slash at its end.
    void addFolder(const QString &name, quint32 unixMode = 0);

    void setComment(const QByteArray &comment);
    /// The time of every entry, in place of each file's own.
    void setTime(const QDateTime &time);

    /// Writes it all out.
    void close();

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace brindle
