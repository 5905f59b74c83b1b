#pragma once

#include "ditto/UnpackStatus.h"

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string>

namespace brindle::ditto {

/// Says in one line why an archive was not unpacked, and what is to blame.
class Error : public std::runtime_error
{
public:
    /// By default the archive is to blame.
    explicit Error(const std::string &why, int status = 1)
        : std::runtime_error(why), status_(status)
    {}

    // `reason` is the system's errno.

    static Error notWritten(const std::string &place, int reason)
    {
        const bool fits = reason > 0 && destinationFailed + reason < linksUnsupported;
        return notWritten(place, reason, destinationFailed + (fits ? reason : EIO));
    }
    static Error noLinks(const std::string &place, int reason)
    {
        return notWritten(place, reason, linksUnsupported);
    }
    static Error notRead(int reason)
    {
        return Error(std::string("can't read the archive: ") + std::strerror(reason),
                     archiveUnread);
    }

    /// The program's exit status: 1, or one of UnpackStatus.h.
    int status() const { return status_; }

private:
    static Error notWritten(const std::string &place, int reason, int status)
    {
        return Error("can't write " + place + ": " + std::strerror(reason), status);
    }

    int status_;
};

} // namespace brindle::ditto
