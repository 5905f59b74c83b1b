#pragma once

/// The exit statuses of `ditto`. All faults of an archive end with 1. The printed line proves
/// nothing, since it holds names from a hostile archive.
namespace brindle::ditto {

/// The archive can't be read from its disk.
constexpr int archiveUnread = 128;
/// This number plus the system's errno: the destination can't be written.
constexpr int destinationFailed = 128;
/// The destination's file system has no symbolic links. Higher than any destinationFailed.
constexpr int linksUnsupported = 255;

} // namespace brindle::ditto
