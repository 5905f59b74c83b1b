#pragma once

#include "Tree.h"
#include "demo/ReleaseHost.h"
#include "platform/Platform.h"

#include <QMap>
#include <QTemporaryDir>

#include <memory>

namespace brindle {

/// A release host whose game goes on: each commit has other content, other file names and other
/// add-ons than the one before, and now and then needs another engine.
class Offers
{
public:
    /// @param folder where the archives are made. @param sampleEngine the program to pack.
    Offers(QString folder, const QString &sampleEngine, Platform platform);

    /// Offers a commit from now on. Throws std::runtime_error. Blocks.
    void offer(int commit);

    QUrl url() const { return host_.url(); }
    ReleaseHost &host() { return host_; }
    /// What a commit's project folder holds, without its add-ons; a number that is in no other.
    Tree game(int commit) const;
    Tree addon(const QString &name, int commit) const;
    static QStringList addonNames();
    /// Where the add-ons are put in the project folder.
    static QString addonFolder(const QString &name);
    /// The commit that a project folder is of, -1 if it does not say.
    static int commitOf(const Tree &project);
    static int addonCommitOf(const Tree &addon);

    /// The engine that a commit needs, e.g. "4.3".
    static QString engineVersion(int commit);
    static QStringList engineVersions();
    /// What the folder of that engine holds.
    Tree engine(const QString &version) const;

private:
    QString file(const QString &name) const { return folder_ + u'/' + name; }
    void packEngine(const QString &version);

    const QString folder_;
    const Platform platform_;
    QByteArray program_;
    ReleaseHost host_;
    QMap<QString, Tree> engines_;
};

} // namespace brindle
