#pragma once

#include "ditto/UnpackStatus.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <string>

namespace brindle::ditto {

/// Says in one line why an archive was not unpacked.
class Error : public std::runtime_error
{
public:
    /// By default the archive is to blame.
    explicit Error(const std::string &why, int status = 1)
        : std::runtime_error(why), status_(status)
    {}

    /// The destination is to blame. `reason` is the system's errno.
    static Error notWritten(const std::string &path, int reason)
    {
        constexpr int largest = 127; // for which a status has room
        return Error("can't write " + path + ": " + std::strerror(reason),
                     destinationFailed + std::min(reason, largest));
    }

    /// The program's exit status.
    int status() const { return status_; }

private:
    int status_;
};

/// Throws an Error that blames the archive, if `isWrong`.
inline void refuseIf(bool isWrong, const char *why)
{
    if (isWrong) {
        throw Error(why);
    }
}

} // namespace brindle::ditto
