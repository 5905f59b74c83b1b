#pragma once

#include "core/Dependencies.h"
#include "demo/ReleaseHost.h"

#include <QTemporaryDir>

#include <memory>

namespace brindle {

/// Everything around a launcher that plays without a network: a release host that offers a game,
/// its add-on and an engine, and empty folders for the launcher. All of it goes with the stage.
class DemoStage
{
public:
    struct Content
    {
        QString game;             ///< a Godot project's folder
        QString addon;            ///< the folder of the one add-on that its ".gitmodules" names
        QString engine;           ///< a program
        bool sampleEngine = true; ///< the program reads "sample-engine.ini"
    };

    /// Packs the content and opens the host. `privatePrograms` is the folder of the launcher's
    /// helper programs. Throws std::runtime_error. Blocks.
    DemoStage(Content content, const QString &privatePrograms);

    /// What a model needs, but for its desktop. Each call gives the same folders and settings.
    Dependencies parts() const;

    ReleaseHost &host() { return host_; }
    /// Offers the game with a mistake in it, as an update would bring; and the good one again.
    void offerBrokenGame();
    void offerGoodGame();
    /// The game closes by itself, some time after it counts as open.
    bool gameEndsByItself() const { return content_.sampleEngine; }
    QString storageRoot() const;

private:
    /// Offers what the folder holds, with `changes` (content by file name) in place of its own.
    void offerGame(const QString &name, const QMap<QString, QByteArray> &changes);
    void offerAddon();
    void offerEngine();
    QString file(const QString &name) const { return folder_.filePath(name); }

    const Content content_;
    QTemporaryDir folder_;
    ReleaseHost host_;
    Platform platform_;
};

} // namespace brindle
