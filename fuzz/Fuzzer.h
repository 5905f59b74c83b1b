#pragma once

#include <cstddef>
#include <cstdint>

/// Each fuzzer defines this function of libFuzzer's, which takes one input of any content. For
/// replay.cpp it is renamed.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);
