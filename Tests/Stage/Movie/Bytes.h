// Bytes and bits of a movie file, read in order.
#pragma once

#include <cstdint>
#include <span>
#include <stdexcept>
#include <string>

namespace lumicrate::stage {

using ByteSpan = std::span<const std::uint8_t>;

// There is less than what is read.
class EndOfBytes : public std::runtime_error {
 public:
    EndOfBytes() : std::runtime_error("ends too early") {}
};

// Numbers with their most significant byte first. Every reading throws EndOfBytes when too little is left.
class Bytes {
 public:
    explicit Bytes(ByteSpan bytes) : rest_(bytes) {}

    std::size_t left() const { return rest_.size(); }
    bool isAtEnd() const { return rest_.empty(); }

    std::uint64_t number(std::size_t size) {
        std::uint64_t value = 0;
        for (const std::uint8_t byte : take(size)) {
            value = value << 8 | byte;
        }
        return value;
    }
    std::uint8_t u8() { return static_cast<std::uint8_t>(number(1)); }
    std::uint16_t u16() { return static_cast<std::uint16_t>(number(2)); }
    std::uint32_t u24() { return static_cast<std::uint32_t>(number(3)); }
    std::uint32_t u32() { return static_cast<std::uint32_t>(number(4)); }
    std::uint64_t u64() { return number(8); }
    std::uint64_t wide(bool in64Bits) { return number(in64Bits ? 8 : 4); }
    std::string text(std::size_t size) {
        const ByteSpan taken = take(size);
        return {taken.begin(), taken.end()};
    }
    bool zeros(std::size_t size) {
        bool all = true;
        for (const std::uint8_t byte : take(size)) {
            all = all && byte == 0;
        }
        return all;
    }
    ByteSpan take(std::size_t size) {
        if (size > rest_.size()) throw EndOfBytes();
        const ByteSpan taken = rest_.first(size);
        rest_ = rest_.subspan(size);
        return taken;
    }

 private:
    ByteSpan rest_;
};

// The bits of a parameter set, Exp-Golomb numbers among them.
class Bits {
 public:
    explicit Bits(ByteSpan bytes) : bytes_(bytes) {}

    std::uint32_t bits(int count) {
        std::uint32_t value = 0;
        for (; count > 0; --count) {
            value = value << 1 | bit();
        }
        return value;
    }
    bool flag() { return bit() != 0; }
    void skip(std::size_t count) {
        for (; count > 0; --count) {
            bit();
        }
    }
    std::uint32_t unsignedGolomb() {
        int zeros = 0;
        while (!flag()) {
            if (++zeros > 31) throw EndOfBytes();
        }
        return (1U << zeros) - 1 + bits(zeros);
    }
    std::int32_t signedGolomb() {
        const auto code = static_cast<std::int64_t>(unsignedGolomb());
        return static_cast<std::int32_t>(code % 2 != 0 ? (code + 1) / 2 : -code / 2);
    }

 private:
    std::uint32_t bit() {
        if (place_ / 8 >= bytes_.size()) throw EndOfBytes();
        const std::uint32_t value = bytes_[place_ / 8] >> (7 - place_ % 8) & 1U;
        ++place_;
        return value;
    }

    ByteSpan bytes_;
    std::size_t place_ = 0;
};

}  // namespace lumicrate::stage
