#pragma once

namespace brindle::ditto {

/// How `ditto` ends when something other than the archive is to blame, as its exit status: what it
/// prints names entries of a hostile archive and proves nothing. 1 is every fault of the archive.
/// Above 128, so that none can be taken for a signal's number. The launcher reads it, too.
enum class UnpackStatus : int {
    noSpace = 201,          ///< ENOSPC, the destination
    quotaExceeded = 202,    ///< EDQUOT, the destination
    readOnly = 203,         ///< EROFS, the destination
    accessDenied = 204,     ///< EACCES, the destination
    notPermitted = 205,     ///< EPERM, the destination
    nameTooLong = 206,      ///< ENAMETOOLONG, the destination
    writeError = 207,       ///< EIO, the destination
    linksUnsupported = 208, ///< the destination's file system has no symbolic links
    readError = 209,        ///< the archive can't be read from its disk
};

} // namespace brindle::ditto
