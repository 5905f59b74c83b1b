#pragma once

#include "Tree.h"
#include "demo/ReleaseHost.h"
#include "platform/Platform.h"

#include <QMap>
#include <QTemporaryDir>

#include <memory>

namespace brindle {

/// A release host whose game goes on: each commit has other content, file names and add-ons than
/// the one before, and some need another engine.
class Offers
{
public:
    /// @param folder holds the archives. @param sampleEngine the program to pack.
    Offers(QString folder, const QString &sampleEngine, Platform platform);

    /// Offers a commit from now on. Throws std::runtime_error. Blocks.
    void offer(int commit);

    QUrl url() const { return host_.url(); }
    ReleaseHost &host() { return host_; }

    /// Returns the content of a commit's project folder without its add-ons.
    Tree game(int commit) const;
    Tree addon(const QString &name, int commit) const;
    static QStringList addonNames();
    /// Returns the add-on's folder within the project.
    static QString addonFolder(const QString &name);
    /// Return the commit that a folder says it is of, or -1.
    static int commitOf(const Tree &project);
    static int addonCommitOf(const Tree &addon);

    /// Returns the engine that a commit needs, for example "4.3".
    static QString engineVersion(int commit);
    static QStringList engineVersions();
    /// Returns the content of that engine's folder.
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
