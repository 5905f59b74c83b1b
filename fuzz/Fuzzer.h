#pragma once

#include <cstddef>
#include <cstdint>

/// What each fuzzer defines: takes one input, whatever it is, and comes back. libFuzzer's name; in
/// a usual build the main() of replay.cpp calls it.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);
