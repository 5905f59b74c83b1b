#pragma once

#include <QProcessEnvironment>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <QTemporaryFile>

namespace brindle {

/// A place to unpack in, with known things around it that must stay as they are:
///
///     home/.profile         what HOME says
///     guarded/…             a folder with files, a link and a file that may be run
///     parent/a.zip, out     the archive and the destination
///
/// and a file in the temporary folder itself. A name in an archive reaches them from the
/// destination by two "..".
class Surroundings
{
public:
    /// How an unpacking ended.
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
    QString canary() const { return canary_.fileName(); }

    void putArchive(const QByteArray &bytes) const;
    /// Runs an archive tool with the archive and the destination, in the folder `parent`.
    Run unpack(const QString &tool) const;
    /// Removes the destination.
    void clear() const;
    /// The names in the folder `parent`.
    QStringList beside() const;

    /// All that is there, except beneath `parent`: kinds, rights, sizes, times, contents, targets.
    QStringList outside() const;
    /// What beneath `parent` is neither folder, link nor plain file, or lends its owner's rights.
    QStringList special() const;
    /// Everything below a folder, nothing when it is missing, as text: kind, execute bit, content
    /// or target.
    static QStringList tree(const QString &folder);

    /// Runs a program, for ten seconds of processor time at most; its environment is this one's,
    /// with HOME in the surroundings.
    Run run(const QString &program, const QStringList &arguments) const;

private:
    QTemporaryDir top_;
    QTemporaryFile canary_;
};

} // namespace brindle
