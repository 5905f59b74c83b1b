#pragma once

#include <QByteArray>
#include <QString>

#include <list>
#include <set>

struct zip;

namespace brindle {

/// Writes a zip archive with libzip. The archive appears with `close`. Throws std::runtime_error;
/// blocks; any thread, one at a time.
class ZipWriter
{
public:
    explicit ZipWriter(const QString &archive);
    /// Discards an archive that was not closed.
    ~ZipWriter();

    /// Adds a file, and before it the folders of its path. `unixMode` is the whole mode (type and
    /// permissions); 0 stores none, as git does for plain files.
    void add(const QString &name, const QByteArray &content, quint32 unixMode = 0);
    /// Adds a file on disk, which `close` reads.
    void addFile(const QString &name, const QString &sourceFile, quint32 unixMode = 0);
    /// Adds a folder that has not been added; `name` has no slash at its end.
    void addFolder(const QString &name);

    void setComment(const QByteArray &comment);
    void close();

private:
    void check(bool good) const;
    void addFoldersOf(const QString &path);

    QString path_;
    struct zip *archive_ = nullptr;
    std::list<QByteArray> contents_; // `close` reads them
    std::set<QString> folders_;
};

} // namespace brindle
