#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace brindle {

/// A function that parses one input of any content, and ends the program if a promise is broken.
using Fuzzer = void(const uint8_t *data, size_t size);

Fuzzer fuzzChecksumList; ///< a release's list of digests
Fuzzer fuzzInfoJson;     ///< "info.json"
Fuzzer fuzzLicence;      ///< the licence's title and notice
Fuzzer fuzzLogLines;     ///< an engine's output, as the log keeps it
Fuzzer fuzzProjectFile;  ///< "project.godot", and the engine that it names
Fuzzer fuzzReadme;       ///< the README's tagline and hints, as read and as shown
Fuzzer fuzzSubmodules;   ///< the add-ons' addresses and folders in ".gitmodules"
Fuzzer fuzzZipDirectory; ///< a zip archive, which is read but not written to files

/// Prints a promise that does not hold, and ends the program.
inline void expect(bool holds, const char *promise)
{
    if (!holds) {
        std::fprintf(stderr, "broken promise: %s\n", promise);
        std::abort();
    }
}

} // namespace brindle
