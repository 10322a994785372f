// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Encoding/HevcIntraCoder.h"

#include "Linux/Media/Encoding/HevcContexts.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <optional>
#include <utility>

namespace lumicrate::media {

using hevc::IntraEdges;
using hevc::IntraMode;
using hevc::IntraModeCode;
using hevc::Scan;
using hevc::Square;
using hevc::Transform;

namespace {

constexpr int side = HevcBlock::side;
constexpr int quarter = side / 2;
constexpr int bitsOfMode = 5;  // if it is not a likely one
constexpr int rounding = 3;

Scan scanOf(IntraMode mode) {
    if (mode == IntraMode::level) return Scan::columns;
    return mode == IntraMode::upright ? Scan::rows : Scan::diagonal;
}

int squares(const std::uint8_t* source, int sourceStride, const std::uint8_t* decoded, int length) {
    int sum = 0;
    for (int y = 0; y < length; ++y) {
        for (int x = 0; x < length; ++x) {
            const int difference = source[y * sourceStride + x] - decoded[y * length + x];
            sum += difference * difference;
        }
    }
    return sum;
}

}  // namespace

HevcIntraCoder::HevcIntraCoder(int width, int height, int log2Tree)
    : columns_(width / quarter),
      rows_(height / quarter),
      tree_(1 << log2Tree),
      modes_(static_cast<std::size_t>(columns_) * static_cast<std::size_t>(rows_)) {}

void HevcIntraCoder::begin(HevcPlanes& picture, const HevcMotion& coded, int quantizer) {
    std::fill(modes_.begin(), modes_.end(), IntraMode::mean);  // also of blocks that are predicted otherwise
    picture_ = &picture;
    coded_ = &coded;
    quantizer_ = quantizer;
    bitCost_ = 0.1 * std::exp2((quantizer - 4) / 3.0);
}

bool HevcIntraCoder::isAvailable(int x, int y) const {
    if (x < 0 || y < 0) return false;
    const int column = x / side;
    const int row = y / side;
    if (column != blockX_ / side || row != blockY_ / side) return coded_->isCoded(column, row);
    return x / quarter % 2 + y / quarter % 2 * 2 < quarters_;
}

IntraEdges HevcIntraCoder::edges(std::size_t plane, int x, int y, int length) const {
    const int scale = plane == 0 ? 1 : 2;
    return IntraEdges::of(picture_->at(plane, 0, 0), picture_->stride(plane), x, y, length, quarter,
                          [&](int column, int row) { return isAvailable(column * scale, row * scale); });
}

IntraMode HevcIntraCoder::modeAt(int x, int y) const {
    return modes_[static_cast<std::size_t>(y / quarter) * static_cast<std::size_t>(columns_) +
                  static_cast<std::size_t>(x / quarter)];
}

/// Modes of another row of the largest blocks are not used.
IntraModeCode HevcIntraCoder::modeCode(int x, int y, IntraMode mode) const {
    return {mode, x > 0 ? modeAt(x - 1, y) : IntraMode::mean,
            y % tree_ > 0 ? modeAt(x, y - 1) : IntraMode::mean};
}

void HevcIntraCoder::setMode(int x, int y, int length, IntraMode mode) {
    for (int row = y / quarter; row < (y + length) / quarter; ++row)
        std::fill_n(modes_.begin() + std::ptrdiff_t{row} * columns_ + x / quarter, length / quarter, mode);
}

void HevcIntraCoder::tryTransform(Part& part, const Square& difference, const std::uint8_t* source,
                                  int sourceStride, int length, Transform transform, int quantizer,
                                  const std::uint8_t* predicted, std::uint8_t* decoded) const {
    std::array<std::uint8_t, 64> shown;
    std::copy_n(predicted, length * length, shown.begin());
    Square levels = difference;
    const bool isCoded = hevc::quantize(levels, length, quantizer, transform, rounding);
    double cost = 0;
    if (isCoded) {
        hevc::addRestored(levels, length, quantizer, transform, shown.data(), length);
        cost = bitCost_ * hevc::estimateBits(levels, length);
    }
    cost += squares(source, sourceStride, shown.data(), length);
    if (cost >= part.cost) return;
    part.cost = cost;
    part.transform = transform;
    part.isCoded = isCoded;
    part.levels = levels;
    std::copy_n(shown.begin(), length * length, decoded);
}

/// The best mode by its absolute differences, and the better transform.
HevcIntraCoder::Part HevcIntraCoder::choosePart(std::size_t plane, const std::uint8_t* source,
                                                int sourceStride, int x, int y, int length,
                                                std::uint8_t* decoded) {
    const IntraEdges around = edges(plane, x, y, length);
    const bool isLuma = plane == 0;
    Part part;
    std::array<std::uint8_t, 64> predicted;
    std::array<std::uint8_t, 64> best;
    int least = std::numeric_limits<int>::max();
    const double stepSize = std::sqrt(bitCost_ * 10);
    for (const IntraMode mode : hevc::intraModes) {
        hevc::predictIntra(around, mode, isLuma, predicted.data());
        int sum = 0;
        for (int row = 0; row < length; ++row) {
            for (int column = 0; column < length; ++column)
                sum += std::abs(source[row * sourceStride + column] -
                                predicted[static_cast<std::size_t>(row * length + column)]);
        }
        if (modeCode(x, y, mode).likely < 0) sum += static_cast<int>(stepSize);
        if (sum >= least) continue;
        least = sum;
        part.mode = mode;
        best = predicted;
    }
    Square difference;
    for (int row = 0; row < length; ++row) {
        for (int column = 0; column < length; ++column) {
            const auto i = static_cast<std::size_t>(row * length + column);
            difference[i] = static_cast<std::int16_t>(source[row * sourceStride + column] - best[i]);
        }
    }
    part.cost = std::numeric_limits<double>::max();
    if (length == side) {
        tryTransform(part, difference, source, sourceStride, length, Transform::cosine, quantizer_,
                     best.data(), decoded);
    } else {
        tryTransform(part, difference, source, sourceStride, length, Transform::sine, quantizer_, best.data(),
                     decoded);
        if (part.isCoded)
            tryTransform(part, difference, source, sourceStride, length, Transform::plain, quantizer_,
                         best.data(), decoded);
    }
    part.cost += bitCost_ * (modeCode(x, y, part.mode).likely < 0 ? bitsOfMode : 2);
    return part;
}

void HevcIntraCoder::chooseParts(Choice& choice, const HevcBlock& source, int x, int y) {
    std::array<std::uint8_t, 64> decoded;
    choice.luma[0] = choosePart(0, source.plane(0), side, x, y, side, decoded.data());
    choice.cost = choice.luma[0].cost;
    if (choice.luma[0].isCoded) {
        Choice divided;
        divided.isDivided = true;
        for (int i = 0; i < 4; ++i) {
            const int left = i % 2 * quarter;
            const int top = i / 2 * quarter;
            std::array<std::uint8_t, 16> shown;
            Part& part = divided.luma[static_cast<std::size_t>(i)];
            part = choosePart(0, source.plane(0) + top * side + left, side, x + left, y + top, quarter,
                              shown.data());
            divided.cost += part.cost;
            setMode(x + left, y + top, quarter, part.mode);
            for (int row = 0; row < quarter; ++row)
                std::copy_n(shown.begin() + row * quarter, quarter, picture_->at(0, x + left, y + top + row));
            ++quarters_;
        }
        quarters_ = 0;
        if (divided.cost < choice.cost) {
            choice = divided;
            return;
        }
    }
    setMode(x, y, side, choice.luma[0].mode);
    for (int row = 0; row < side; ++row)
        std::copy_n(decoded.begin() + row * side, side, picture_->at(0, x, y + row));
}

/// Chroma has the mode of luma's first part.
void HevcIntraCoder::chooseChroma(Choice& choice, const HevcBlock& source, int x, int y) {
    const IntraMode mode = choice.luma[0].mode;
    for (std::size_t i = 1; i < 3; ++i) {
        std::array<std::uint8_t, 64> predicted;
        hevc::predictIntra(edges(i, x / 2, y / 2, quarter), mode, false, predicted.data());
        Square difference;
        for (std::size_t pixel = 0; pixel < 16; ++pixel)
            difference[pixel] = static_cast<std::int16_t>(source.plane(i)[pixel] - predicted[pixel]);
        Part& part = choice.chroma[i - 1];
        part.mode = mode;
        part.cost = std::numeric_limits<double>::max();
        std::array<std::uint8_t, 16> shown;
        tryTransform(part, difference, source.plane(i), quarter, quarter, Transform::cosine,
                     hevc::chromaQuantizer(quantizer_), predicted.data(), shown.data());
        if (part.isCoded)
            tryTransform(part, difference, source.plane(i), quarter, quarter, Transform::plain,
                         hevc::chromaQuantizer(quantizer_), predicted.data(), shown.data());
        for (int row = 0; row < quarter; ++row)
            std::copy_n(shown.begin() + row * quarter, quarter, picture_->at(i, x / 2, y / 2 + row));
    }
}

void HevcIntraCoder::codeModes(CabacWriter& cabac, const Choice& choice, int x, int y) {
    const std::size_t count = choice.isDivided ? 4 : 1;
    std::array<std::optional<IntraModeCode>, 4> codes;
    for (std::size_t i = 0; i < count; ++i) {
        codes[i] = modeCode(x + static_cast<int>(i % 2) * quarter, y + static_cast<int>(i / 2) * quarter,
                            choice.luma[i].mode);
        cabac.bin(hevc::likelyModeContext, codes[i]->likely >= 0);
    }
    for (std::size_t i = 0; i < count; ++i) {
        const IntraModeCode& code = *codes[i];
        if (code.likely < 0) {
            cabac.bypass(static_cast<std::uint32_t>(code.rest), 5);
        } else {
            cabac.bypass(code.likely == 0 ? 0 : static_cast<std::uint32_t>(code.likely) + 1,
                         code.likely == 0 ? 1 : 2);
        }
    }
    cabac.bin(hevc::chromaModeContext, false);  // that of luma
}

void HevcIntraCoder::code(CabacWriter& cabac, const HevcBlock& source, int x, int y) {
    blockX_ = x;
    blockY_ = y;
    quarters_ = 0;
    Choice choice;
    chooseParts(choice, source, x, y);
    chooseChroma(choice, source, x, y);
    cabac.bin(hevc::wholeContext, !choice.isDivided);
    codeModes(cabac, choice, x, y);
    for (const Part& chroma : choice.chroma)
        cabac.bin(hevc::chromaContext, chroma.isCoded);
    const int length = choice.isDivided ? quarter : side;
    for (std::size_t i = 0; i < (choice.isDivided ? 4 : 1); ++i) {
        const Part& part = choice.luma[i];
        cabac.bin(hevc::lumaContexts + (choice.isDivided ? 0 : 1), part.isCoded);
        if (part.isCoded)
            hevc::codeLevels(cabac, part.levels, length, false, part.transform, scanOf(part.mode));
    }
    for (const Part& part : choice.chroma) {
        if (part.isCoded)
            hevc::codeLevels(cabac, part.levels, quarter, true, part.transform, scanOf(part.mode));
    }
}

std::optional<IntraMode> HevcIntraCoder::predictFlat(const HevcBlock& source, int x, int y, int length) {
    blockX_ = x;
    blockY_ = y;
    quarters_ = 0;
    const int tolerance = static_cast<int>(std::sqrt(bitCost_));
    const std::array<IntraEdges, 3> around{edges(0, x, y, length), edges(1, x / 2, y / 2, length / 2),
                                           edges(2, x / 2, y / 2, length / 2)};
    std::array<std::array<std::uint8_t, hevc::maxIntraSide * hevc::maxIntraSide>, 3> predicted;
    for (const IntraMode mode : {IntraMode::mean, IntraMode::upright, IntraMode::level}) {
        bool isClose = true;
        for (std::size_t i = 0; i < 3 && isClose; ++i) {
            const int planeLength = i == 0 ? length : length / 2;
            hevc::predictIntra(around[i], mode, i == 0, predicted[i].data());
            isClose = std::all_of(predicted[i].begin(), predicted[i].begin() + planeLength * planeLength,
                                  [&](int pixel) { return std::abs(pixel - *source.plane(i)) <= tolerance; });
        }
        if (!isClose) continue;
        for (std::size_t i = 0; i < 3; ++i) {
            const int planeLength = i == 0 ? length : length / 2;
            const int scale = i == 0 ? 1 : 2;
            for (int row = 0; row < planeLength; ++row)
                std::copy_n(predicted[i].begin() + row * planeLength, planeLength,
                            picture_->at(i, x / scale, y / scale + row));
        }
        setMode(x, y, length, mode);
        return mode;
    }
    return std::nullopt;
}

void HevcIntraCoder::codeFlat(CabacWriter& cabac, int x, int y, IntraMode mode) {
    Choice choice;
    choice.luma[0].mode = mode;
    codeModes(cabac, choice, x, y);
    cabac.bin(hevc::chromaContext, false);
    cabac.bin(hevc::chromaContext, false);
    cabac.bin(hevc::lumaContexts + 1, false);
}

}  // namespace lumicrate::media
