#pragma once

#include <cstdio>
#include <cstdlib>

namespace brindle {

/// A promise that must hold for every input; ends the fuzzer when it does not.
inline void expect(bool holds, const char *promise)
{
    if (!holds) {
        std::fprintf(stderr, "broken promise: %s\n", promise);
        std::abort();
    }
}

} // namespace brindle
