#pragma once

#include <QtGlobal>

#include <filesystem>
#include <string>
#include <unistd.h>
#include <vector>

namespace brindle {

/// Restarts this program on an X display of its own, by `script` (script/on-virtual-display).
/// Returns if the program is already on an X display.
inline void moveToVirtualDisplay(const char *script, int argc, char *argv[])
{
    if (qgetenv("QT_QPA_PLATFORM") == "xcb") {
        return;
    }
    static std::string program = std::filesystem::read_symlink("/proc/self/exe");
    std::vector<char *> again{const_cast<char *>(script), program.data()};
    again.insert(again.end(), argv, argv + argc + 1);
    execv(script, again.data());
    qFatal("%s can't be started", script);
}

} // namespace brindle
