// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Encoding/HevcPatchCoder.h"

#include <algorithm>
#include <cstdlib>

namespace lumicrate::media {

namespace {

// Where the contexts of each syntax element begin in `initialValues`.
constexpr std::size_t splitContexts = 0;
constexpr std::size_t skipContexts = 3;
constexpr std::size_t intraContext = 6;
constexpr std::size_t wholeContext = 7;
constexpr std::size_t mergeContext = 8;
constexpr std::size_t lumaContext = 9;
constexpr std::size_t chromaContext = 10;
constexpr std::size_t lastXContexts = 11;
constexpr std::size_t lastYContexts = 29;
constexpr std::size_t groupContexts = 47;
constexpr std::size_t coefficientContexts = 51;
constexpr std::size_t aboveOneContexts = 93;
constexpr std::size_t aboveTwoContexts = 117;

/// Of the contexts in slices predicted from one picture (ITU-T H.265, 9.3.2.2).
constexpr std::array<std::uint8_t, 123> initialValues{
    107, 139, 126,  // split
    197, 185, 201,  // skipped
    149,            // predicted from its own picture
    154,            // not divided into parts
    110,            // motion of a neighbour
    111,            // luma is coded
    149,            // chroma is coded
    // last coefficient: column
    125, 110, 94, 110, 95, 79, 125, 111, 110, 78, 110, 111, 111, 95, 94, 108, 123, 108,
    // row
    125, 110, 94, 110, 95, 79, 125, 111, 110, 78, 110, 111, 111, 95, 94, 108, 123, 108,
    // group of coefficients is coded
    121, 140, 61, 154,
    // coefficient is not zero: luma
    155, 154, 139, 153, 139, 123, 123, 63, 153, 166, 183, 140, 136, 153, 154, 166, 183, 140, 136, 153, 154,
    166, 183, 140, 136, 153, 154,
    // chroma
    170, 153, 123, 123, 107, 121, 107, 121, 167, 151, 183, 140, 151, 183, 140,
    // above one
    154, 196, 196, 167, 154, 152, 167, 182, 182, 134, 149, 136, 153, 121, 136, 137, 169, 194, 166, 167, 154,
    167, 137, 182,
    // above two
    107, 167, 91, 122, 107, 167};

/// The cosine transform of 8; every second row begins with that of 4.
constexpr std::array<std::array<int, 8>, 8> cosines{{{64, 64, 64, 64, 64, 64, 64, 64},
                                                     {89, 75, 50, 18, -18, -50, -75, -89},
                                                     {83, 36, -36, -83, -83, -36, 36, 83},
                                                     {75, -18, -89, -50, 50, 89, 18, -75},
                                                     {64, -64, -64, 64, 64, -64, -64, 64},
                                                     {50, -89, 18, 75, -75, -18, 89, -50},
                                                     {36, -83, 83, -36, -36, 83, -83, 36},
                                                     {18, -50, 75, -89, 89, -75, 50, -18}}};

// By the quantizer modulo 6.
constexpr std::array<int, 6> quantization{26214, 23302, 20560, 18396, 16384, 14564};
constexpr std::array<int, 6> scaling{40, 45, 51, 57, 64, 72};

/// The quantizer of chroma for that of luma.
int chromaQuantizer(int luma) {
    constexpr std::array<int, 14> between{29, 30, 31, 32, 33, 33, 34, 34, 35, 35, 36, 36, 37, 37};
    if (luma < 30) return luma;
    return luma >= 44 ? luma - 6 : between[static_cast<std::size_t>(luma - 30)];
}

struct Place {
    int x;
    int y;
};
/// The order of coefficients in a group of 4 × 4: up the diagonals.
constexpr std::array<Place, 16> diagonal{{{0, 0},
                                          {0, 1},
                                          {1, 0},
                                          {0, 2},
                                          {1, 1},
                                          {2, 0},
                                          {0, 3},
                                          {1, 2},
                                          {2, 1},
                                          {3, 0},
                                          {1, 3},
                                          {2, 2},
                                          {3, 1},
                                          {2, 3},
                                          {3, 2},
                                          {3, 3}}};
/// And of the groups in a block of 8 × 8.
constexpr std::array<Place, 4> groups{{{0, 0}, {0, 1}, {1, 0}, {1, 1}}};

/// Transforms and quantizes the difference of a block of length × length pixels, 8 or 4, in place. Returns
/// whether anything is left.
bool quantize(std::array<std::int16_t, 64>& block, int length, int quantizer) {
    const int log2 = length == 8 ? 3 : 2;
    const std::size_t step = length == 8 ? 1 : 2;
    const auto n = static_cast<std::size_t>(length);
    std::array<int, 64> rows;
    for (std::size_t y = 0; y < n; ++y) {
        for (std::size_t k = 0; k < n; ++k) {
            int sum = 1 << (log2 - 2);
            for (std::size_t x = 0; x < n; ++x)
                sum += cosines[k * step][x] * block[y * n + x];
            rows[y * n + k] = sum >> (log2 - 1);
        }
    }
    const int shift = 21 - log2 + quantizer / 6;
    const int scale = quantization[static_cast<std::size_t>(quantizer % 6)];
    const std::int64_t rounding = (std::int64_t{1} << shift) / 6;
    bool isAny = false;
    for (std::size_t v = 0; v < n; ++v) {
        for (std::size_t k = 0; k < n; ++k) {
            int sum = 1 << (log2 + 5);
            for (std::size_t y = 0; y < n; ++y)
                sum += cosines[v * step][y] * rows[y * n + k];
            const int coefficient = sum >> (log2 + 6);
            const auto level =
                static_cast<int>((std::int64_t{std::abs(coefficient)} * scale + rounding) >> shift);
            block[v * n + k] = static_cast<std::int16_t>(coefficient < 0 ? -level : level);
            isAny = isAny || level != 0;
        }
    }
    return isAny;
}

/// The difference as a decoder computes it from the levels.
std::array<int, 64> restore(const std::array<std::int16_t, 64>& levels, int length, int quantizer) {
    const int log2 = length == 8 ? 3 : 2;
    const std::size_t step = length == 8 ? 1 : 2;
    const auto n = static_cast<std::size_t>(length);
    const int factor = scaling[static_cast<std::size_t>(quantizer % 6)] * 16 << quantizer / 6;
    const int shift = log2 + 3;
    const auto limited = [](int value) { return std::clamp(value, -32768, 32767); };
    std::array<int, 64> scaled;
    for (std::size_t i = 0; i < n * n; ++i)
        scaled[i] = static_cast<int>(std::clamp<std::int64_t>(
            (std::int64_t{levels[i]} * factor + (1 << (shift - 1))) >> shift, -32768, 32767));
    std::array<int, 64> columns;
    for (std::size_t y = 0; y < n; ++y) {
        for (std::size_t k = 0; k < n; ++k) {
            int sum = 64;
            for (std::size_t v = 0; v < n; ++v)
                sum += cosines[v * step][y] * scaled[v * n + k];
            columns[y * n + k] = limited(sum >> 7);
        }
    }
    std::array<int, 64> difference;
    for (std::size_t y = 0; y < n; ++y) {
        for (std::size_t x = 0; x < n; ++x) {
            int sum = 2048;
            for (std::size_t k = 0; k < n; ++k)
                sum += cosines[k * step][x] * columns[y * n + k];
            difference[y * n + x] = sum >> 12;
        }
    }
    return difference;
}

/// The context of a coefficient by what is coded in its group's neighbours: 1 for the one on the right, 2 for
/// the one below.
std::size_t coefficientContext(Place in, std::size_t group, int neighbours, bool isChroma) {
    constexpr std::array<std::uint8_t, 16> inSmall{0, 1, 4, 5, 2, 3, 4, 5, 6, 6, 8, 8, 7, 7, 8, 8};
    if (isChroma) return coefficientContexts + 27 + inSmall[static_cast<std::size_t>(in.y * 4 + in.x)];
    if (group == 0 && in.x + in.y == 0) return coefficientContexts;
    int context = 2;
    if (neighbours == 0) context = in.x + in.y == 0 ? 2 : in.x + in.y < 3 ? 1 : 0;
    if (neighbours == 1) context = in.y == 0 ? 2 : in.y == 1 ? 1 : 0;
    if (neighbours == 2) context = in.x == 0 ? 2 : in.x == 1 ? 1 : 0;
    return coefficientContexts + static_cast<std::size_t>(context) + 9 + (group > 0 ? 3 : 0);
}

}  // namespace

HevcPatchCoder::HevcPatchCoder(const HevcSequence& sequence)
    : sequence_(sequence),
      columns_(sequence.width / side),
      rows_(sequence.height / side),
      index_(static_cast<std::size_t>(columns_) * static_cast<std::size_t>(rows_), -1),
      depths_(index_.size(), 0) {
    for (std::size_t i = 0; i < reference_.size(); ++i) {
        const int part = i == 0 ? 1 : 2;
        Plane& plane = reference_[i];
        plane.width = sequence.width / part;
        plane.pixels.resize(static_cast<std::size_t>(plane.width) *
                            static_cast<std::size_t>(sequence.height / part));
    }
}

void HevcPatchCoder::setReference(const std::array<DecodedPlane, 3>& planes, int top, int rows) {
    for (std::size_t i = 0; i < planes.size(); ++i) {
        Plane& plane = reference_[i];
        const int part = i == 0 ? 1 : 2;
        for (int row = 0; row < rows / part; ++row)
            std::copy_n(planes[i].pixels + row * planes[i].stride, plane.width,
                        plane.pixels.begin() + std::ptrdiff_t{top / part + row} * plane.width);
    }
}

/// Quantizes the difference of one block of 8 × 8 pixels to the reference, and adds it there.
void HevcPatchCoder::compare(const CVPixelBuffer& picture, int column, int row, int quantizer) {
    Block block;
    bool isAny = false;
    for (std::size_t i = 0; i < 3; ++i) {
        Plane& plane = reference_[i];
        const int length = i == 0 ? side : side / 2;
        const std::uint8_t* source = i == 0 ? picture.luma : picture.chroma + (i - 1);
        const int stride = i == 0 ? picture.lumaStride : picture.chromaStride;
        const int pixel = i == 0 ? 1 : 2;
        const int right = (i == 0 ? picture.width : picture.width / 2) - 1;
        const int bottom = (i == 0 ? picture.height : picture.height / 2) - 1;
        std::uint8_t* reference =
            plane.pixels.data() + std::ptrdiff_t{row} * length * plane.width + column * length;
        std::array<std::int16_t, 64>& levels = block.levels[i];
        for (int y = 0; y < length; ++y) {
            const std::uint8_t* line = source + std::ptrdiff_t{std::min(row * length + y, bottom)} * stride;
            for (int x = 0; x < length; ++x)
                levels[static_cast<std::size_t>(y * length + x)] =
                    static_cast<std::int16_t>(line[std::min(column * length + x, right) * pixel] -
                                              reference[std::ptrdiff_t{y} * plane.width + x]);
        }
        const int fine = i == 0 ? quantizer : chromaQuantizer(quantizer);
        block.isCoded[i] = quantize(levels, length, fine);
        if (!block.isCoded[i]) continue;
        isAny = true;
        const std::array<int, 64> difference = restore(levels, length, fine);
        for (int y = 0; y < length; ++y) {
            for (int x = 0; x < length; ++x) {
                std::uint8_t& shown = reference[std::ptrdiff_t{y} * plane.width + x];
                shown = static_cast<std::uint8_t>(
                    std::clamp(shown + difference[static_cast<std::size_t>(y * length + x)], 0, 255));
            }
        }
    }
    if (!isAny) return;
    index_[static_cast<std::size_t>(row * columns_ + column)] = static_cast<std::int32_t>(blocks_.size());
    blocks_.push_back(block);
}

void HevcPatchCoder::compareMacroblocks(const CVPixelBuffer& picture,
                                        std::span<const std::uint8_t> constantBlocks, int quantizer) {
    constexpr int macroblock = 2;  // in blocks
    const int macroblocks = (columns_ + macroblock - 1) / macroblock;
    for (std::size_t i = 0; i < constantBlocks.size(); ++i) {
        if (constantBlocks[i] != 0) continue;
        const int left = static_cast<int>(i) % macroblocks * macroblock;
        const int top = static_cast<int>(i) / macroblocks * macroblock;
        for (int row = top; row < std::min(top + macroblock, rows_); ++row) {
            for (int column = left; column < std::min(left + macroblock, columns_); ++column)
                compare(picture, column, row, quantizer);
        }
    }
}

void HevcPatchCoder::code(const CVPixelBuffer& picture, std::span<const std::uint8_t> constantBlocks,
                          int quantizer, const HevcPlace& place, std::vector<std::uint8_t>& sample) {
    blocks_.clear();
    std::fill(index_.begin(), index_.end(), -1);
    compareMacroblocks(picture, constantBlocks, quantizer);

    unit_.clear();
    beginPatch(unit_, sequence_, place, quantizer);
    cabac_.begin(unit_, initialValues, quantizer);
    const int tree = 1 << sequence_.log2Tree;
    for (int y = 0; y < sequence_.height; y += tree) {
        for (int x = 0; x < sequence_.width; x += tree) {
            codeTree(x, y, sequence_.log2Tree, 0);
            cabac_.end(y + tree >= sequence_.height && x + tree >= sequence_.width);
        }
    }
    appendNalUnit(sample, unit_.bytes());
}

bool HevcPatchCoder::hasCoded(int x, int y, int length) const {
    for (int row = y / side; row < std::min((y + length) / side, rows_); ++row) {
        const auto begin = index_.begin() + std::ptrdiff_t{row} * columns_;
        const int right = std::min((x + length) / side, columns_);
        if (std::any_of(begin + x / side, begin + right, [](std::int32_t i) { return i >= 0; })) return true;
    }
    return false;
}

void HevcPatchCoder::codeTree(int x, int y, int log2, int depth) {
    const int length = 1 << log2;
    const auto place = static_cast<std::size_t>(y / side * columns_ + x / side);
    const std::size_t above = place - static_cast<std::size_t>(columns_);
    const bool isInside = x + length <= sequence_.width && y + length <= sequence_.height;
    bool isSplit = length > side;
    if (isInside && isSplit) {
        isSplit = hasCoded(x, y, length);
        const int deeper =
            (x > 0 && depths_[place - 1] > depth ? 1 : 0) + (y > 0 && depths_[above] > depth ? 1 : 0);
        cabac_.bin(splitContexts + static_cast<std::size_t>(deeper), isSplit);
    }
    if (isSplit) {
        const int half = length / 2;
        for (const int top : {y, y + half}) {
            for (const int left : {x, x + half}) {
                if (left < sequence_.width && top < sequence_.height)
                    codeTree(left, top, log2 - 1, depth + 1);
            }
        }
        return;
    }
    for (int row = 0; row < length / side; ++row)
        std::fill_n(depths_.begin() + static_cast<std::ptrdiff_t>(place) + std::ptrdiff_t{row} * columns_,
                    length / side, static_cast<std::uint8_t>(depth));
    // What is not coded is skipped, so the flags of the neighbours are known.
    const int skipped = (x > 0 && index_[place - 1] < 0 ? 1 : 0) + (y > 0 && index_[above] < 0 ? 1 : 0);
    const std::int32_t index = index_[place];
    cabac_.bin(skipContexts + static_cast<std::size_t>(skipped), index < 0);
    if (index >= 0) codeBlock(blocks_[static_cast<std::size_t>(index)]);
}

void HevcPatchCoder::codeBlock(const Block& block) {
    cabac_.bin(intraContext, false);
    cabac_.bin(wholeContext, true);
    cabac_.bin(mergeContext, true);  // motion: none, like all neighbours
    cabac_.bin(chromaContext, block.isCoded[1]);
    cabac_.bin(chromaContext, block.isCoded[2]);
    if (block.isCoded[1] || block.isCoded[2]) cabac_.bin(lumaContext, block.isCoded[0]);
    for (std::size_t i = 0; i < 3; ++i) {
        if (block.isCoded[i]) codeLevels(block.levels[i], i > 0);
    }
}

/// A coordinate of the last coefficient, without the bits that follow both coordinates.
void HevcPatchCoder::codeLast(int place, std::size_t contexts, int length, bool isChroma) {
    const int prefix = place < 4 ? place : 2 + place / 2;
    const int most = length == side ? 5 : 3;
    for (int i = 0; i < most; ++i) {
        const int context = isChroma ? 15 + i : 3 + i / 2;
        cabac_.bin(contexts + static_cast<std::size_t>(context), i < prefix);
        if (i == prefix) break;
    }
}

void HevcPatchCoder::codeLevels(const std::array<std::int16_t, side * side>& levels, bool isChroma) {
    const int length = isChroma ? side / 2 : side;
    const std::size_t groupCount = isChroma ? 1 : groups.size();
    const auto at = [&](std::size_t group, std::size_t i) {
        return int{levels[static_cast<std::size_t>((groups[group].y * 4 + diagonal[i].y) * length +
                                                   groups[group].x * 4 + diagonal[i].x)]};
    };
    std::size_t lastGroup = groupCount - 1;
    std::size_t last = 15;
    while (at(lastGroup, last) == 0) {
        lastGroup -= last == 0 ? 1 : 0;
        last = last == 0 ? 15 : last - 1;
    }
    const int lastX = groups[lastGroup].x * 4 + diagonal[last].x;
    const int lastY = groups[lastGroup].y * 4 + diagonal[last].y;
    codeLast(lastX, lastXContexts, length, isChroma);
    codeLast(lastY, lastYContexts, length, isChroma);
    if (lastX >= 4) cabac_.bypass(static_cast<std::uint32_t>(lastX & 1), 1);
    if (lastY >= 4) cabac_.bypass(static_cast<std::uint32_t>(lastY & 1), 1);

    std::array<bool, 4> isCoded{};
    bool wasLarge = false;
    for (std::size_t group = lastGroup + 1; group-- > 0;) {
        const bool isLast = group == lastGroup;
        // Those on the right of and below a group come before it in this order.
        const int neighbours = groupCount == 1
                                   ? 0
                                   : (groups[group].x == 0 && isCoded[group == 0 ? 2 : 3] ? 1 : 0) +
                                         (groups[group].y == 0 && isCoded[group == 0 ? 1 : 3] ? 2 : 0);
        std::array<int, 16> found;
        std::size_t count = 0;
        for (std::size_t i = 0; i < 16; ++i)
            count += at(group, i) != 0 ? 1 : 0;
        const bool isFlagged = !isLast && group > 0;
        isCoded[group] = count > 0 || !isFlagged;
        if (isFlagged)
            cabac_.bin(groupContexts + (neighbours != 0 ? 1 : 0) + (isChroma ? 2 : 0), isCoded[group]);
        if (!isCoded[group]) continue;
        count = 0;
        for (std::size_t i = isLast ? last + 1 : 16; i-- > 0;) {
            const int level = at(group, i);
            const bool isKnown = (isLast && i == last) || (i == 0 && isFlagged && count == 0);
            if (!isKnown)
                cabac_.bin(coefficientContext(diagonal[i], group, neighbours, isChroma), level != 0);
            if (level != 0) found[count++] = level;
        }
        if (count > 0)
            codeMagnitudes({found.data(), count}, group > 0 && !isChroma ? 2 : 0, wasLarge, isChroma);
    }
}

/// The values of a group's coefficients that are not zero. `set` is a set of contexts; another one is used
/// when the group before had values above one.
void HevcPatchCoder::codeMagnitudes(std::span<const int> levels, std::size_t set, bool& wasLarge,
                                    bool isChroma) {
    constexpr std::size_t flagged = 8;
    if (wasLarge) ++set;
    std::size_t context = 1;
    std::size_t firstLarge = flagged;
    for (std::size_t i = 0; i < std::min(levels.size(), flagged); ++i) {
        const bool isLarge = std::abs(levels[i]) > 1;
        cabac_.bin(aboveOneContexts + 4 * set + context + (isChroma ? 16 : 0), isLarge);
        if (isLarge && firstLarge == flagged) firstLarge = i;
        if (isLarge) context = 0;
        if (context > 0) context = std::min<std::size_t>(context + 1, 3);
    }
    wasLarge = context == 0;
    if (firstLarge < flagged)
        cabac_.bin(aboveTwoContexts + set + (isChroma ? 4 : 0), std::abs(levels[firstLarge]) > 2);
    for (const int level : levels)
        cabac_.bypass(level < 0 ? 1 : 0, 1);
    int rice = 0;
    for (std::size_t i = 0; i < levels.size(); ++i) {
        const int known = i >= flagged ? 1 : i == firstLarge ? 3 : 2;  // by the flags
        const int magnitude = std::abs(levels[i]);
        if (magnitude < known) continue;
        codeRemaining(static_cast<std::uint32_t>(magnitude - known), rice);
        if (magnitude > 3 << rice) rice = std::min(rice + 1, 4);
    }
}

/// What is left of a magnitude: a unary prefix, and then a number of bits that grows with it.
void HevcPatchCoder::codeRemaining(std::uint32_t value, int rice) {
    constexpr std::uint32_t shortPrefix = 3;
    if (value < shortPrefix << rice) {
        const auto prefix = static_cast<int>(value >> rice);
        cabac_.bypass((1U << (prefix + 1)) - 2, prefix + 1);
        cabac_.bypass(value & ((1U << rice) - 1), rice);
        return;
    }
    value -= shortPrefix << rice;
    int length = rice;
    for (; value >= 1U << length; ++length)
        value -= 1U << length;
    const int prefix = 3 + length - rice;
    cabac_.bypass((1U << (prefix + 1)) - 2, prefix + 1);
    cabac_.bypass(value, length);
}

}  // namespace lumicrate::media
