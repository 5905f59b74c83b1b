#include "ditto/Error.h"

#include <cerrno>
#include <cstring>

namespace brindle::ditto {

namespace {

UnpackStatus statusOf(int reason)
{
    switch (reason) {
    case ENOSPC:
        return UnpackStatus::noSpace;
    case EDQUOT:
        return UnpackStatus::quotaExceeded;
    case EROFS:
        return UnpackStatus::readOnly;
    case EACCES:
        return UnpackStatus::accessDenied;
    case EPERM:
        return UnpackStatus::notPermitted;
    case ENAMETOOLONG:
        return UnpackStatus::nameTooLong;
    default:
        return UnpackStatus::writeError;
    }
}

std::string unwritten(const std::string &place, int reason)
{
    return "can't write " + place + ": " + std::strerror(reason);
}

} // namespace

Error Error::notWritten(const std::string &place, int reason)
{
    return {statusOf(reason), unwritten(place, reason)};
}

Error Error::noLinks(const std::string &place, int reason)
{
    return {UnpackStatus::linksUnsupported, unwritten(place, reason)};
}

Error Error::notRead(int reason)
{
    return {UnpackStatus::readError,
            std::string("can't read the archive: ") + std::strerror(reason)};
}

} // namespace brindle::ditto
