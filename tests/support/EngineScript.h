#pragma once

#include "support/TestChild.h"

#include <QByteArray>
#include <QStringList>

namespace brindle {

/// Returns an engine as a shell script: it runs `import` when asked to import a project, and `game`
/// otherwise. The engine's arguments are "$@".
inline QByteArray engineScript(const QByteArray &game, const QByteArray &import = "exit 0")
{
    return "#!/bin/sh\ncase \"$*\" in\n*--import*)\n" + import + "\n;;\n*)\n" + game +
           "\n;;\nesac\n";
}

/// Returns a line of a shell script that becomes the test child and does its steps.
inline QByteArray childSteps(const QStringList &steps)
{
    return "exec '" + testChild().toUtf8() + "' '" + steps.join(QStringLiteral("' '")).toUtf8() +
           '\'';
}

} // namespace brindle
