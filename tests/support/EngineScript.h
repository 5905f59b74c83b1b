#pragma once

#include "support/TestChild.h"

#include <QByteArray>
#include <QStringList>

namespace brindle {

/// Returns an engine as a shell script. To import a project, the engine runs `import`; otherwise it
/// runs `game`. Both see the engine's arguments as "$@".
inline QByteArray engineScript(const QByteArray &game, const QByteArray &import = "exit 0")
{
    return "#!/bin/sh\ncase \"$*\" in\n*--import*)\n" + import + "\n;;\n*)\n" + game +
           "\n;;\nesac\n";
}

/// Returns a shell command that replaces the shell with the test child and runs these steps.
inline QByteArray childSteps(const QStringList &steps)
{
    return "exec '" + testChild().toUtf8() + "' '" + steps.join(QStringLiteral("' '")).toUtf8() +
           '\'';
}

} // namespace brindle
