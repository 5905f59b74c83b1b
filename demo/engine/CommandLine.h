#pragma once

#include <QSize>
#include <QString>
#include <QStringList>

#include <optional>

/// What of the engine's command line this engine knows.
struct CommandLine
{
    bool import = false; ///< "--headless --import": import the project and quit
    bool fullscreen = false;
    QString project;                 ///< after "--path"
    std::optional<QSize> resolution; ///< after "--resolution", as "1280x720"

    /// What is wrong with the arguments: one sentence; empty when nothing is.
    QString problem;

    static CommandLine parse(const QStringList &arguments);
};
