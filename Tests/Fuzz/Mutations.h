// Mutations: random damage to files that are made of boxes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

namespace lumicrate::fuzz {

using Bytes = std::vector<std::uint8_t>;

/// The same seed always does the same mutations.
class Mutations {
 public:
    explicit Mutations(std::uint32_t seed) : random_(seed) {}

    /// Damages `input` in one to eight ways: flips bits, changes numbers, sizes and types of boxes, removes,
    /// duplicates or takes boxes from `other`, and truncates. The result has at most `maxSize` bytes.
    void apply(Bytes& input, const Bytes& other, std::size_t maxSize);

 private:
    std::size_t below(std::size_t bound) { return bound == 0 ? 0 : random_() % bound; }
    std::uint32_t boundaryNumber();
    /// The offset of a random box header, or of any byte if none is found.
    std::size_t someBox(const Bytes& input);

    void flipBit(Bytes& input);
    void changeNumber(Bytes& input);
    void changeSize(Bytes& input);
    void changeType(Bytes& input);
    void removeBox(Bytes& input);
    void insertBox(Bytes& input, const Bytes& from);

    std::mt19937 random_;
};

}  // namespace lumicrate::fuzz
