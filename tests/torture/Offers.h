#pragma once

#include "demo/ReleaseHost.h"
#include "platform/Platform.h"
#include "support/Tree.h"

#include <QMap>

namespace brindle {

/// A release host whose game develops. Each commit has other content, file names and add-ons than
/// the commit before. Some need another engine.
class Offers
{
public:
    /// @param folder holds the archives.
    /// @param programs holds the sample engine.
    Offers(QString folder, const QString &programs);

    /// Offers a commit from now on. Throws std::runtime_error. Blocks.
    void offer(int commit);
    QString url() const { return host_.url().toString(); }

    /// Returns the content of a commit's project folder without its add-ons.
    Tree game(int commit) const;
    static Tree addon(const QString &name, int commit);
    static QStringList addonNames();
    /// Returns the add-on's folder within the project.
    static QString addonFolder(const QString &name);
    /// Returns the commit that a project or an add-on names, or -1.
    static int commitOf(const Tree &folder);

    /// Returns the engine that a commit needs, for example "4.3".
    static QString engineVersion(int commit);
    static QStringList engineVersions();
    /// Returns the content of that engine's folder.
    Tree engine(const QString &version) const { return engines_.value(version); }

private:
    /// Packs a tree and returns the archive's path.
    QString pack(const Tree &tree, const QString &topFolder, const QString &name) const;

    const QString folder_;
    ReleaseHost host_;
    QMap<QString, Tree> engines_;
};

} // namespace brindle
