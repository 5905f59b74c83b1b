#pragma once

#include <QByteArray>
#include <QMap>
#include <QString>
#include <QStringList>

namespace brindle {

/// The files, links and empty folders below a folder, by path.
class Tree
{
public:
    enum class Type { file, program, link, emptyFolder };

    struct Entry
    {
        Type type = Type::file;
        QByteArray content; ///< of a file, or a link's target

        bool operator==(const Entry &) const = default;
    };

    /// Reads a folder with its hidden entries. Blocks.
    static Tree read(const QString &folder);
    /// Writes all entries below a folder. Throws std::runtime_error. Blocks.
    void write(const QString &folder) const;

    void add(const QString &path, const QByteArray &content, Type type = Type::file);
    /// Adds a whole tree below a folder.
    void add(const QString &folder, const Tree &tree);

    const QMap<QString, Entry> &entries() const { return entries_; }
    QByteArray content(const QString &path) const { return entries_.value(path).content; }

    enum class Added { counts, ignored };
    /// Returns the differences from the expected tree, one per line.
    QStringList differences(const Tree &expected, Added added = Added::counts) const;

private:
    QMap<QString, Entry> entries_;
};

} // namespace brindle
