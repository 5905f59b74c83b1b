#pragma once

#include <QString>

/// How the sample engine behaves on a project: read from "sample-engine.ini" in the project's
/// folder, where the tests and the demo put what they want to see. Without it, as an engine does
/// that has nothing to complain about.
struct Behaviour
{
    QString title; ///< the project's name
    double importSeconds = 0.6;
    int importExit = 0;
    double playSeconds = -1; ///< ends by itself after that; negative: never
    int playExit = 0;
    int printLines = 0;  ///< lines printed at the start of a game
    QString printText;   ///< one line printed at the start of a game
    QString requireFile; ///< must exist in the project, or the run ends with 1
    bool ignoreTerm = false;

    static Behaviour read(const QString &project);
};
