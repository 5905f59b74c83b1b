#pragma once

#include "ditto/UnpackStatus.h"

#include <stdexcept>
#include <string>

namespace brindle::ditto {

/// Why an archive was not unpacked, in one line, and what is to blame.
class Error : public std::runtime_error
{
public:
    /// The archive is to blame.
    explicit Error(const std::string &why) : std::runtime_error(why) {}

    /// A place at the destination could not be made or written. `reason` is the system's errno.
    static Error notWritten(const std::string &place, int reason);
    /// Nor could a symbolic link, where files can be made.
    static Error noLinks(const std::string &place, int reason);
    /// The archive's file could not be opened or read. `reason` is the system's errno.
    static Error notRead(int reason);

    /// What the program exits with: 1, or an UnpackStatus.
    int status() const { return status_; }

private:
    Error(UnpackStatus status, const std::string &why)
        : std::runtime_error(why), status_(static_cast<int>(status))
    {}

    int status_ = 1;
};

} // namespace brindle::ditto
