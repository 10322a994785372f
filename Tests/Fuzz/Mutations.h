// Mutations: random damage to files that are made of boxes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

namespace lumicrate::fuzz {

using Bytes = std::vector<std::uint8_t>;

/// The same seed always does the same.
class Mutations {
 public:
    explicit Mutations(std::uint32_t seed) : random_(seed) {}

    /// Damages `input` in one to eight ways: bits, numbers in boxes, their sizes and types; boxes that are
    /// missing, twice, or out of `other`; ends cut off. It grows to `greatestSize` bytes at most.
    void apply(Bytes& input, const Bytes& other, std::size_t greatestSize);

 private:
    std::size_t below(std::size_t bound) { return bound == 0 ? 0 : random_() % bound; }
    std::uint32_t tellingNumber();
    /// Where the header of some box begins; somewhere where there is none.
    std::size_t someBox(const Bytes& input);

    void flipBit(Bytes& input);
    void changeNumber(Bytes& input);
    void changeSize(Bytes& input);
    void changeType(Bytes& input);
    void removeBox(Bytes& input);
    void insertBox(Bytes& input, const Bytes& from);
    void cut(Bytes& input);

    std::mt19937 random_;
};

}  // namespace lumicrate::fuzz
