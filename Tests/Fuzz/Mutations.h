// SPDX-License-Identifier: GPL-3.0-or-later
// Mutations: random damage to files that are made of boxes.
#pragma once

#include <algorithm>
#include <array>
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

namespace lumicrate::fuzz {

using Bytes = std::vector<std::uint8_t>;

inline constexpr std::size_t boxHeader = 8;

inline std::uint32_t numberAt(const Bytes& bytes, std::size_t at) {
    std::uint32_t value = 0;
    for (std::size_t i = at; i < at + 4; ++i)
        value = value << 8 | bytes[i];
    return value;
}

inline void putNumber(Bytes& bytes, std::size_t at, std::uint32_t value) {
    for (std::size_t i = 0; i < 4 && at + i < bytes.size(); ++i)
        bytes[at + i] = static_cast<std::uint8_t>(value >> (24 - 8 * i));
}

inline bool isBox(const Bytes& bytes, std::size_t at) {
    const auto letter = [](std::uint8_t each) { return std::isalnum(each) != 0 || each == ' '; };
    return std::all_of(bytes.begin() + static_cast<std::ptrdiff_t>(at) + 4,
                       bytes.begin() + static_cast<std::ptrdiff_t>(at + boxHeader), letter) &&
           numberAt(bytes, at) <= bytes.size();
}

/// The length of the box that begins there, limited to the rest of the bytes.
inline std::size_t boxLength(const Bytes& bytes, std::size_t at) {
    if (at + boxHeader > bytes.size()) return 0;
    return std::min<std::size_t>(numberAt(bytes, at), bytes.size() - at);
}

/// The same seed always does the same mutations.
class Mutations {
 public:
    explicit Mutations(std::uint32_t seed) : random_(seed) {}

    /// Damages `input` in one to eight ways: flips bits, changes numbers, sizes and types of boxes, removes,
    /// duplicates or takes boxes from `other`, and truncates. The result has at most `maxSize` bytes.
    void apply(Bytes& input, const Bytes& other, std::size_t maxSize) {
        for (std::size_t count = 1 + below(8); count > 0 && !input.empty(); --count) {
            const std::size_t kind = below(16);
            if (kind < 3)
                flipBit(input);
            else if (kind < 9)
                changeNumber(input);
            else if (kind < 11)
                changeSize(input);
            else if (kind < 12)
                changeType(input);
            else if (kind < 13)
                removeBox(input);
            else if (kind < 15)
                insertBox(input, kind == 13 ? input : other);
            else
                input.resize(1 + below(input.size()));
        }
        if (input.size() > maxSize) input.resize(maxSize);
    }

 private:
    std::size_t below(std::size_t bound) { return bound == 0 ? 0 : random_() % bound; }

    /// A number near the limits of its type or of small sizes.
    std::uint32_t boundaryNumber() {
        constexpr std::array<std::uint32_t, 14> numbers{
            0, 1, 2, 7, 8, 16, 0x7f, 0x80, 0xffff, 0x10000, 0x7fffffff, 0x80000000, 0xfffffff8, 0xffffffff};
        return numbers[below(numbers.size())];
    }

    /// The offset of a random box header, or of any byte if none is found.
    std::size_t someBox(const Bytes& input) {
        constexpr std::size_t attempts = 64;
        if (input.size() < boxHeader) return 0;
        for (std::size_t i = 0; i < attempts; ++i) {
            // Searches from a random position, since headers are few.
            const std::size_t start = below(input.size() - boxHeader + 1);
            const std::size_t end = std::min(start + 256, input.size() - boxHeader + 1);
            for (std::size_t at = start; at < end; ++at) {
                if (isBox(input, at)) return at;
            }
        }
        return below(input.size());
    }

    void flipBit(Bytes& input) {
        const std::size_t at = (someBox(input) + below(64)) % input.size();
        input[at] ^= static_cast<std::uint8_t>(1U << below(8));
    }

    void changeNumber(Bytes& input) {
        const std::size_t at = (someBox(input) + boxHeader + 4 * below(12)) % input.size();
        if (at + 4 > input.size()) return;
        const auto difference = static_cast<std::uint32_t>(below(33)) - 16;
        putNumber(input, at, below(2) == 0 ? boundaryNumber() : numberAt(input, at) + difference);
    }

    void changeSize(Bytes& input) {
        const std::size_t at = someBox(input);
        if (at + boxHeader > input.size()) return;
        const auto difference = static_cast<std::uint32_t>(below(17)) - 8;
        putNumber(input, at, below(4) == 0 ? boundaryNumber() : numberAt(input, at) + difference);
    }

    void changeType(Bytes& input) {
        const std::size_t from = someBox(input);
        const std::size_t to = someBox(input);
        if (std::max(from, to) + boxHeader > input.size()) return;
        putNumber(input, to + 4, numberAt(input, from + 4));
    }

    void removeBox(Bytes& input) {
        const std::size_t at = someBox(input);
        const auto begin = input.begin() + static_cast<std::ptrdiff_t>(at);
        input.erase(begin, begin + static_cast<std::ptrdiff_t>(boxLength(input, at)));
    }

    void insertBox(Bytes& input, const Bytes& from) {
        if (from.empty()) return;
        const std::size_t source = someBox(from);
        const auto begin = from.begin() + static_cast<std::ptrdiff_t>(source);
        const Bytes box(begin, begin + static_cast<std::ptrdiff_t>(boxLength(from, source)));
        input.insert(input.begin() + static_cast<std::ptrdiff_t>(someBox(input)), box.begin(), box.end());
    }

    std::mt19937 random_;
};

}  // namespace lumicrate::fuzz
