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

    static Error notWritten(const std::string &path, int reason)
    {
        const int status = destinationFailed + reason;
        return notWritten(path, reason,
                          status < linksUnsupported ? status : destinationFailed + EIO);
    }
    static Error noLinks(const std::string &path, int reason)
    {
        return notWritten(path, reason, linksUnsupported);
    }
    static Error notRead(int reason)
    {
        return Error(std::string("can't read the archive: ") + std::strerror(reason),
                     archiveUnread);
    }

    /// The program's exit status: 1, or one of UnpackStatus.h.
    int status() const { return status_; }

private:
    static Error notWritten(const std::string &path, int reason, int status)
    {
        return Error("can't write " + path + ": " + std::strerror(reason), status);
    }

    int status_;
};

} // namespace brindle::ditto
