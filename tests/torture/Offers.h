#pragma once

#include "demo/ReleaseHost.h"
#include "platform/Platform.h"
#include "support/Tree.h"

#include <QMap>

namespace brindle {

/// A release host whose game changes. Each commit has new content, file names and add-ons. Some
/// commits need another engine.
class Offers
{
public:
    /// @param programs the folder of the sample engine.
    explicit Offers(const QString &programs);

    /// Offers a commit from now on. Throws std::runtime_error. Blocks.
    void offer(int commit);
    QString url() const { return host_.url().toString(); }

    /// Returns the content of a commit's project folder without its add-ons.
    Tree game(int commit) const;
    static Tree addon(const QString &name, int commit);
    static QStringList addonNames();
    /// Returns the add-on's folder within the project.
    static QString addonFolder(const QString &name);
    /// The file with the commit's number, in the project and in each add-on.
    inline static const QString commitFile = QStringLiteral("commit.txt");

    /// Returns the engine that a commit needs, for example "4.3".
    static QString engineVersion(int commit);
    static QStringList engineVersions();
    /// Returns the content of an engine's folder.
    Tree engine(const QString &version) const { return engines_.value(version); }

private:
    ReleaseHost host_;
    QMap<QString, Tree> engines_;
};

} // namespace brindle
