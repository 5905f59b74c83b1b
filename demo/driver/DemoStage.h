#pragma once

#include "core/AppModel.h"
#include "demo/ReleaseHost.h"

#include <QTemporaryDir>

#include <memory>

namespace brindle {

/// Replaces the network and the user's folders for a launcher. A release host offers a game, its
/// add-on and an engine. The folders begin empty; the destructor removes them.
class DemoStage
{
public:
    struct Content
    {
        QString game;             ///< a Godot project's folder
        QString addon;            ///< the folder of the one add-on that its ".gitmodules" names
        QString engine;           ///< a program
        bool sampleEngine = true; ///< whether the program reads "sample-engine.ini"
    };

    /// Packs the content and opens the host. `privatePrograms` is the folder of the launcher's
    /// helper programs. Throws std::runtime_error. Blocks.
    DemoStage(Content content, const QString &privatePrograms);

    /// Returns a model's dependencies, except for the desktop. Each call returns the same folders
    /// and settings.
    Dependencies parts() const;

    ReleaseHost &host() { return host_; }
    /// Offers the game with a mistake, for an update that breaks it.
    void offerBrokenGame();
    void offerGoodGame();
    /// Returns whether the game closes by itself some time after it counts as open.
    bool gameEndsByItself() const { return content_.sampleEngine; }

private:
    /// Offers the game's folder with `changes`, which map file names to contents.
    void offerGame(QMap<QString, QByteArray> changes);
    QString file(const QString &name) const { return folder_.filePath(name); }

    const Content content_;
    QTemporaryDir folder_;
    ReleaseHost host_;
    Platform platform_;
};

} // namespace brindle
