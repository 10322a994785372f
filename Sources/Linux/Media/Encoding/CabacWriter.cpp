// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Encoding/CabacWriter.h"

#include <algorithm>
#include <array>
#include <bit>

namespace lumicrate::media {

namespace {

constexpr int states = 64;
constexpr std::uint32_t quarter = 256;  // of the interval, which has ten bits

/// The range of the less likely value, by state and by the range's upper bits.
constexpr std::array<std::array<std::uint8_t, 4>, states> unlikelyRanges{{
    {128, 176, 208, 240}, {128, 167, 197, 227}, {128, 158, 187, 216}, {123, 150, 178, 205},
    {116, 142, 169, 195}, {111, 135, 160, 185}, {105, 128, 152, 175}, {100, 122, 144, 166},
    {95, 116, 137, 158},  {90, 110, 130, 150},  {85, 104, 123, 142},  {81, 99, 117, 135},
    {77, 94, 111, 128},   {73, 89, 105, 122},   {69, 85, 100, 116},   {66, 80, 95, 110},
    {62, 76, 90, 104},    {59, 72, 86, 99},     {56, 69, 81, 94},     {53, 65, 77, 89},
    {51, 62, 73, 85},     {48, 59, 69, 80},     {46, 56, 66, 76},     {43, 53, 63, 72},
    {41, 50, 59, 69},     {39, 48, 56, 65},     {37, 45, 54, 62},     {35, 43, 51, 59},
    {33, 41, 48, 56},     {32, 39, 46, 53},     {30, 37, 43, 50},     {29, 35, 41, 48},
    {27, 33, 39, 45},     {26, 31, 37, 43},     {24, 30, 35, 41},     {23, 28, 33, 39},
    {22, 27, 32, 37},     {21, 26, 30, 35},     {20, 24, 29, 33},     {19, 23, 27, 31},
    {18, 22, 26, 30},     {17, 21, 25, 28},     {16, 20, 23, 27},     {15, 19, 22, 25},
    {14, 18, 21, 24},     {14, 17, 20, 23},     {13, 16, 19, 22},     {12, 15, 18, 21},
    {12, 14, 17, 20},     {11, 14, 16, 19},     {11, 13, 15, 18},     {10, 12, 15, 17},
    {10, 12, 14, 16},     {9, 11, 13, 15},      {9, 11, 12, 14},      {8, 10, 12, 14},
    {8, 9, 11, 13},       {7, 9, 11, 12},       {7, 9, 10, 12},       {7, 8, 10, 11},
    {6, 8, 9, 11},        {6, 7, 9, 10},        {6, 7, 8, 9},         {2, 2, 2, 2},
}};

/// The state after the less likely value.
constexpr std::array<std::uint8_t, states> afterUnlikely{
    0,  0,  1,  2,  2,  4,  4,  5,  6,  7,  8,  9,  9,  11, 11, 12, 13, 13, 15, 15, 16, 16,
    18, 18, 19, 19, 21, 21, 22, 22, 23, 24, 24, 25, 26, 26, 27, 27, 28, 29, 29, 30, 30, 30,
    31, 32, 32, 33, 33, 33, 34, 34, 35, 35, 35, 36, 36, 36, 37, 37, 37, 38, 38, 63};

}  // namespace

void CabacWriter::begin(BitWriter& output, std::span<const std::uint8_t> initialValues, int quantizer) {
    output_ = &output;
    bytes_.clear();
    low_ = 0;
    range_ = 510;
    held_ = 0;
    contexts_.clear();
    for (const std::uint8_t value : initialValues) {
        const int slope = (value >> 4) * 5 - 45;
        const int offset = ((value & 15) << 3) - 16;
        const int state = std::clamp((slope * std::clamp(quantizer, 0, 51) >> 4) + offset, 1, 126);
        const bool likely = state > 63;
        contexts_.push_back({static_cast<std::uint8_t>(likely ? state - 64 : 63 - state), likely});
    }
}

void CabacWriter::bin(std::size_t context, bool value) {
    auto& [state, likely] = contexts_[context];
    const std::uint32_t unlikely = unlikelyRanges[state][range_ >> 6 & 3];
    range_ -= unlikely;
    if (value == likely) {
        state = static_cast<std::uint8_t>(std::min(state + 1, states - 2));
        if (range_ >= quarter) return;
        range_ <<= 1;
        shift(1);
        return;
    }
    low_ += range_;
    if (state == 0) likely = !likely;
    state = afterUnlikely[state];
    const int count = std::bit_width(quarter) - std::bit_width(unlikely);
    range_ = unlikely << count;
    shift(count);
}

/// Makes room for `count` more bits, at most 32, adds a value there, and moves whole bytes out.
void CabacWriter::shift(int count, std::uint64_t value) {
    low_ = (low_ << count) + value;
    held_ += count;
    while (held_ >= 8) {
        const std::uint64_t byte = low_ >> (held_ + 1);
        low_ &= (std::uint64_t{1} << (held_ + 1)) - 1;
        held_ -= 8;
        if (byte > 0xff) carry();
        bytes_.push_back(static_cast<std::uint8_t>(byte));
    }
}

/// Adds one to the bytes as a whole.
void CabacWriter::carry() {
    std::size_t last = bytes_.size();
    do {
        --last;
    } while (++bytes_[last] == 0);
}

void CabacWriter::bypass(std::uint32_t value, int count) {
    shift(count, std::uint64_t{value} * range_);
}

void CabacWriter::end(bool value) {
    range_ -= 2;
    if (!value) {
        if (range_ >= quarter) return;
        range_ <<= 1;
        shift(1);
        return;
    }
    low_ += range_;
    shift(7);
    const std::uint64_t rest = low_ >> 8;
    if (rest >> (held_ + 1) != 0) carry();
    output_->append(bytes_);
    output_->bits(static_cast<std::uint32_t>(rest), held_ + 1);
    output_->align();  // its one is the last bit of the arithmetic code
}

}  // namespace lumicrate::media
