#pragma once

#include <stdexcept>

namespace brindle {

/// Why an archive was not unpacked, in one line.
class ArchiveError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

} // namespace brindle
