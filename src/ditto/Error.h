#pragma once

#include "ditto/UnpackStatus.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <string>

namespace brindle::ditto {

/// The failure to unpack an archive, explained in one line.
class Error : public std::runtime_error
{
public:
    /// The default status blames the archive.
    explicit Error(const std::string &why, int status = 1)
        : std::runtime_error(why), status_(status)
    {}

    /// Returns an error that blames the destination. `reason` is the system's errno.
    static Error notWritten(const std::string &path, int reason)
    {
        constexpr int largest = 127; // that fits into an exit status
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
