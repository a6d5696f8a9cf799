// A mutator for whole recordings: checksums stop no attacker, so they must not stop the fuzzer.
#pragma once

#include <cstddef>
#include <cstdint>

extern "C" size_t LLVMFuzzerMutate(uint8_t *data, size_t size, size_t max_size);

namespace fuzz {

// Mutates once and then, mostly, makes all checksums right again.
size_t mutate_recording(uint8_t *data, size_t size, size_t max_size, unsigned seed);

}  // namespace fuzz
