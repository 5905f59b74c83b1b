#pragma once

#include <QByteArray>
#include <QMap>
#include <QString>
#include <QStringList>

namespace brindle {

/// What a folder holds: each file, link and empty folder by its path. A plain value.
class Tree
{
public:
    enum class Type { file, program, link, emptyFolder };

    struct Entry
    {
        Type type = Type::file;
        QByteArray content; ///< of a link: where it leads to

        bool operator==(const Entry &) const = default;
    };

    /// What is on disk below `folder`, hidden entries included. Blocks.
    static Tree read(const QString &folder);
    /// Puts it on disk, in place of the folder. Throws std::runtime_error. Blocks.
    void write(const QString &folder) const;

    void add(const QString &path, const QByteArray &content, Type type = Type::file);
    /// The whole of another one below a folder.
    void add(const QString &folder, const Tree &tree);

    const QMap<QString, Entry> &entries() const { return entries_; }
    QByteArray content(const QString &path) const { return entries_.value(path).content; }
    /// The part below a folder.
    Tree below(const QString &folder) const;
    /// All but the part below a folder.
    Tree without(const QString &folder) const;

    enum class Added { counts, ignored };
    /// How this one, which is there, differs from the expected one; a line each.
    QStringList differences(const Tree &expected, Added added = Added::counts) const;

private:
    QMap<QString, Entry> entries_;
};

} // namespace brindle
