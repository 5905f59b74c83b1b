#pragma once

namespace brindle::ditto {

/// `ditto` exits with this number plus the system's errno when the destination can't be written,
/// and with 1 for every fault of an archive. The launcher ignores the printed line, because it may
/// hold names from a hostile archive.
constexpr int destinationFailed = 128;

} // namespace brindle::ditto
