#include "ditto/Error.h"

#include <cstring>

namespace brindle::ditto {

namespace {

UnpackStatus statusOf(int reason)
{
    for (const auto &[status, number] : destinationErrors) {
        if (reason == number) {
            return status;
        }
    }
    return UnpackStatus::writeError;
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
