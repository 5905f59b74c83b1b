#pragma once

#include <QString>

#include <cstdio>
#include <fcntl.h>
#include <functional>

namespace brindle {

/// Called after every rename of the test program's own that succeeded, with the new path, on the
/// thread that renamed. Defines the system's call: to be included by one source of a program.
inline std::function<void(const QString &to)> afterRename;

} // namespace brindle

extern "C" int rename(const char *from, const char *to) noexcept
{
    const int result = ::renameat(AT_FDCWD, from, AT_FDCWD, to);
    if (result == 0 && brindle::afterRename) {
        brindle::afterRename(QString::fromLocal8Bit(to));
    }
    return result;
}
