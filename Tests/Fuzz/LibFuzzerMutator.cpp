// SPDX-License-Identifier: GPL-3.0-or-later
// Lets libFuzzer use Mutations: its own mutations hardly ever leave a movie readable.
#include "Tests/Fuzz/Mutations.h"

#include <algorithm>

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t maxSize);

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maxSize,
                                               unsigned int seed) {
    if (size == 0 || seed % 4 == 0) return LLVMFuzzerMutate(data, size, maxSize);
    lumicrate::fuzz::Bytes input(data, data + size);
    lumicrate::fuzz::Mutations(seed).apply(input, input, maxSize);
    std::copy(input.begin(), input.end(), data);
    return input.size();
}
