#pragma once

#include <QByteArray>
#include <QString>

#include <memory>

namespace brindle {

/// Writes a zip archive with libzip. Throws std::runtime_error, any thread, one at a time.
class ZipWriter
{
public:
    explicit ZipWriter(const QString &file);
    /// Discards an archive that was not closed.
    ~ZipWriter();

    /// Adds an entry. `unixMode` 0 stores none, as git does for plain files; else the whole mode
    /// (type and permissions). Folder names end in "/".
    void add(const QString &name, const QByteArray &content, quint32 unixMode = 0);
    /// Adds a file's content, read when the archive is closed.
    void addFile(const QString &name, const QString &sourceFile, quint32 unixMode = 0);
    void setComment(const QByteArray &comment);

    /// Writes it all out.
    void close();

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace brindle
