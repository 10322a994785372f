// SPDX-License-Identifier: GPL-3.0-or-later
// What fuzz targets share: an invariant that is checked, and random damage to files that are made of boxes.
#pragma once

#include <algorithm>
#include <array>
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <vector>

namespace lumicrate::fuzz {

using Bytes = std::vector<std::uint8_t>;

/// Aborts unless the invariant holds, so that the fuzzer reports the input.
inline void check(bool holds, const char* what) {
    if (holds) return;
    std::fprintf(stderr, "Not true: %s.\n", what);
    std::abort();
}

/// The same seed always does the same mutations.
class Mutations {
 public:
    explicit Mutations(std::uint32_t seed) : random_(seed) {}

    /// Damages `input` in one to eight ways: flips bits, changes sizes, types and fields of boxes, removes or
    /// duplicates boxes, takes some from `other`, and truncates. The result has at most `maxSize` bytes.
    void apply(Bytes& input, const Bytes& other, std::size_t maxSize) {
        for (std::size_t count = 1 + below(8); count > 0 && !input.empty(); --count) {
            const std::size_t at = someBox(input);
            const std::size_t kind = below(16);
            if (kind < 3) {
                input[(at + below(64)) % input.size()] ^= static_cast<std::uint8_t>(1U << below(8));
            } else if (kind < 11) {
                changeNumber(input, kind < 9 ? at + boxHeader + 4 * below(12) : at);
            } else if (kind < 12) {
                putNumber(input, at + 4, numberAt(input, someBox(input) + 4));
            } else if (kind < 13) {
                const auto begin = input.begin() + static_cast<std::ptrdiff_t>(at);
                input.erase(begin, begin + static_cast<std::ptrdiff_t>(boxLength(input, at)));
            } else if (kind < 15) {
                insertBox(input, at, kind == 13 ? input : other);
            } else {
                input.resize(1 + below(input.size()));
            }
        }
        input.resize(std::min(input.size(), maxSize));
    }

 private:
    static constexpr std::size_t boxHeader = 8;

    /// Zeros behind the end.
    static std::uint32_t numberAt(const Bytes& bytes, std::size_t at) {
        std::uint32_t value = 0;
        for (std::size_t i = at; i < at + 4; ++i)
            value = value << 8 | (i < bytes.size() ? bytes[i] : 0U);
        return value;
    }
    static void putNumber(Bytes& bytes, std::size_t at, std::uint32_t value) {
        for (std::size_t i = 0; i < 4 && at + i < bytes.size(); ++i)
            bytes[at + i] = static_cast<std::uint8_t>(value >> (24 - 8 * i));
    }
    static bool isBox(const Bytes& bytes, std::size_t at) {
        const auto type = bytes.begin() + static_cast<std::ptrdiff_t>(at) + 4;
        return numberAt(bytes, at) <= bytes.size() && std::all_of(type, type + 4, [](std::uint8_t each) {
                   return std::isalnum(each) != 0 || each == ' ';
               });
    }
    /// Limited to the rest of the bytes.
    static std::size_t boxLength(const Bytes& bytes, std::size_t at) {
        return std::min<std::size_t>(numberAt(bytes, at), bytes.size() - at);
    }

    std::size_t below(std::size_t bound) { return bound == 0 ? 0 : random_() % bound; }

    /// The offset of a random box header, or of any byte if none is found.
    std::size_t someBox(const Bytes& input) {
        constexpr std::size_t attempts = 64;
        for (std::size_t i = 0; i < attempts && input.size() >= boxHeader; ++i) {
            // Searches from a random position, since headers are few.
            const std::size_t start = below(input.size() - boxHeader + 1);
            const std::size_t end = std::min(start + 256, input.size() - boxHeader + 1);
            for (std::size_t at = start; at < end; ++at) {
                if (isBox(input, at)) return at;
            }
        }
        return below(input.size());
    }

    /// To one near the limits of its type or of small sizes, or by a little.
    void changeNumber(Bytes& input, std::size_t at) {
        constexpr std::array<std::uint32_t, 14> limits{
            0, 1, 2, 7, 8, 16, 0x7f, 0x80, 0xffff, 0x10000, 0x7fffffff, 0x80000000, 0xfffffff8, 0xffffffff};
        const auto difference = static_cast<std::uint32_t>(below(33)) - 16;
        putNumber(input, at, below(2) == 0 ? limits[below(limits.size())] : numberAt(input, at) + difference);
    }

    void insertBox(Bytes& input, std::size_t at, const Bytes& from) {
        const std::size_t source = someBox(from);
        const auto begin = from.begin() + static_cast<std::ptrdiff_t>(source);
        const Bytes box(begin, begin + static_cast<std::ptrdiff_t>(boxLength(from, source)));
        input.insert(input.begin() + static_cast<std::ptrdiff_t>(at), box.begin(), box.end());
    }

    std::mt19937 random_;
};

}  // namespace lumicrate::fuzz
