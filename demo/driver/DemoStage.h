#pragma once

#include "core/AppModelParts.h"
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
    DemoStage(const Content &content, const QString &privatePrograms);

    /// What a model needs, but for its desktop. Each call gives the same folders and settings.
    AppModelParts parts() const;

    ReleaseHost &host() { return host_; }
    QString storageRoot() const;

private:
    void offerGame(const Content &content);
    void offerEngine(const Content &content);
    QString file(const QString &name) const { return folder_.filePath(name); }

    QTemporaryDir folder_;
    ReleaseHost host_;
    Platform platform_;
};

} // namespace brindle
