#pragma once

#include <array>
#include <cerrno>
#include <utility>

namespace brindle::ditto {

/// How `ditto` ends when something other than the archive is to blame, as its exit status: what it
/// prints names entries of a hostile archive and proves nothing. 1 is every fault of the archive.
/// Above 128, so that none can be taken for a signal's number. The launcher reads it, too.
enum class UnpackStatus : int {
    noSpace = 201, ///< this one and those down to `writeError`: the destination
    quotaExceeded = 202,
    readOnly = 203,
    accessDenied = 204,
    notPermitted = 205,
    nameTooLong = 206,
    writeError = 207,       ///< anything else that the system says of the destination
    linksUnsupported = 208, ///< the destination's file system has no symbolic links
    readError = 209,        ///< the archive can't be read from its disk
};

/// What the system said, as errno, when the destination is to blame.
constexpr std::array<std::pair<UnpackStatus, int>, 7> destinationErrors{{
    {UnpackStatus::noSpace, ENOSPC},
    {UnpackStatus::quotaExceeded, EDQUOT},
    {UnpackStatus::readOnly, EROFS},
    {UnpackStatus::accessDenied, EACCES},
    {UnpackStatus::notPermitted, EPERM},
    {UnpackStatus::nameTooLong, ENAMETOOLONG},
    {UnpackStatus::writeError, EIO},
}};

} // namespace brindle::ditto
