// Has libFuzzer take our mutations for a part of its own: hardly any of its own leave a movie readable.
#include "Tests/Fuzz/Mutations.h"

#include <algorithm>

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t greatestSize);

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t greatestSize,
                                               unsigned int seed) {
    constexpr unsigned int oneInSoMany = 4;
    if (size == 0 || seed % oneInSoMany == 0) return LLVMFuzzerMutate(data, size, greatestSize);
    lumicrate::fuzz::Bytes input(data, data + size);
    lumicrate::fuzz::Mutations(seed).apply(input, input, greatestSize);
    std::copy(input.begin(), input.end(), data);
    return input.size();
}

extern "C" std::size_t LLVMFuzzerCustomCrossOver(const std::uint8_t* data, std::size_t size,
                                                 const std::uint8_t* other, std::size_t otherSize,
                                                 std::uint8_t* out, std::size_t greatestSize,
                                                 unsigned int seed) {
    lumicrate::fuzz::Bytes input(data, data + size);
    lumicrate::fuzz::Mutations(seed).apply(input, {other, other + otherSize}, greatestSize);
    std::copy(input.begin(), input.end(), out);
    return input.size();
}
