#pragma once

/// The exit status of `ditto` when something other than the archive is to blame. An archive's
/// faults all end with 1. The printed line proves nothing, since it names entries of a hostile
/// archive.
namespace brindle::ditto {

/// The archive can't be read from its disk.
constexpr int archiveUnread = 128;
/// This number plus the system's errno: the destination can't be written.
constexpr int destinationFailed = 128;
/// The destination's file system has no symbolic links. Higher than any destinationFailed.
constexpr int linksUnsupported = 255;

} // namespace brindle::ditto
