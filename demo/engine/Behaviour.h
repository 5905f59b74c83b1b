#pragma once

#include <QString>
#include <QStringList>

/// How the sample engine behaves on a project: read from "sample-engine.ini" in the project's
/// folder, where the tests and the demo put what they want to see. Each field is a key of that
/// name; without the file it is an engine that has nothing to complain about.
struct Behaviour
{
    double importSeconds = 1.0;
    int importExit = 0;
    double windowSeconds = 0; ///< a game's window is shown after that
    double playSeconds = -1;  ///< a game ends by itself after that; negative: never
    int playExit = 0;
    int crashSignal = 0; ///< at its end the game dies of this signal instead
    int printLines = 0;  ///< lines printed as fast as they go, at the start of an import or a game
    QString printText;   ///< one line on standard error, before those
    bool printParseError = false; ///< what a script with a mistake looks like; the game runs on
    QStringList requireFile;      ///< each must exist in the project, or every run ends with 1
    bool ignoreTerm = false;      ///< SIGTERM is ignored

    static Behaviour read(const QString &project);
};
