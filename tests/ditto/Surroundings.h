#pragma once

#include <QString>
#include <QStringList>
#include <QTemporaryDir>

namespace brindle {

/// A folder to unpack in, with known files around it that must stay as they are:
///
///     home/.profile         below HOME
///     guarded/…             a folder with files, a link and a program
///     parent/a.zip, out     the archive and the destination
class Surroundings
{
public:
    struct Run
    {
        int code = -1; ///< -1 after a signal
        QByteArray errors;
    };

    Surroundings();
    ~Surroundings();
    Surroundings(const Surroundings &) = delete;
    Surroundings &operator=(const Surroundings &) = delete;

    QString path(const char *name) const { return top_.filePath(QString::fromLatin1(name)); }
    QString archive() const { return path("parent/a.zip"); }
    QString destination() const { return path("parent/out"); }

    void putArchive(const QByteArray &bytes) const;
    /// Runs an archive tool with the archive and the destination, in the folder `parent`.
    Run unpack(const QString &tool) const;
    /// Runs a program in the folder `parent`, and kills it after ten seconds of processor time. Its
    /// HOME lies in the surroundings.
    Run run(const QString &program, const QStringList &arguments) const;
    /// Removes the destination.
    void clear() const;
    /// Returns the names in the folder `parent`.
    QStringList beside() const;

    /// Describes everything outside `parent`: kinds, modes, owners, inodes, sizes, times, targets.
    QStringList outside() const;
    /// Returns the entries below `parent` that are not a folder, link or plain file, and files that
    /// lend their owner's rights.
    QStringList special() const;
    /// Describes everything below a folder: path, kind, execute bit. Returns nothing for a missing
    /// folder.
    static QStringList tree(const QString &folder);

private:
    QTemporaryDir top_;
};

} // namespace brindle
