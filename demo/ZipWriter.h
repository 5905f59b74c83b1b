#pragma once

#include <QByteArray>
#include <QString>
#include <QTemporaryDir>

#include <list>
#include <set>

struct zip;

namespace brindle {

/// Makes a zip archive with libzip. Throws std::runtime_error. Blocks. Any thread, one at a time.
class ZipWriter
{
public:
    ZipWriter();
    ~ZipWriter();

    /// Adds a file, and before it the folders of its path. `unixMode` is the whole mode (type and
    /// permissions); 0 stores none, as git does for plain files.
    void add(const QString &name, const QByteArray &content, quint32 unixMode = 0);
    /// Adds a folder unless it is there already. `name` has no slash at its end.
    void addFolder(const QString &name);

    void setComment(const QByteArray &comment);
    /// Returns the finished archive. Call last.
    QByteArray close();

private:
    QString path() const { return folder_.filePath(QStringLiteral("zip")); }
    void check(bool good) const;
    void addFoldersOf(const QString &path);

    QTemporaryDir folder_;
    struct zip *archive_ = nullptr;
    std::list<QByteArray> contents_; // alive until `close` has read them
    std::set<QString> folders_;
};

} // namespace brindle
