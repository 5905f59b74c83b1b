#pragma once

#include <QByteArray>

namespace brindle {

/// Returns an engine as a shell script: it runs `import` when asked to import a project, and `game`
/// otherwise. The engine's arguments are "$@".
inline QByteArray engineScript(const QByteArray &game, const QByteArray &import = "exit 0")
{
    return "#!/bin/sh\ncase \"$*\" in\n*--import*)\n" + import + "\n;;\n*)\n" + game +
           "\n;;\nesac\n";
}

} // namespace brindle
