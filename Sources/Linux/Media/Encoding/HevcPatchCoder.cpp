// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Encoding/HevcPatchCoder.h"

#include "Linux/Media/Encoding/HevcContexts.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace lumicrate::media {

namespace {

/// The quantizer's rounding of what is predicted from another picture, which is mostly noise.
constexpr int rounding = 6;
/// Vectors and their differences must fit into 16 bits as quarters of pixels.
constexpr int maxDistance = 4000;
/// The mean squared difference of a close block, in squared steps of the quantizer.
constexpr double closeness = 0.25;

HevcVector vectorOf(const ScrollDistance& scroll) {
    return {static_cast<std::int16_t>(-scroll.x), static_cast<std::int16_t>(-scroll.y)};
}

/// About how far the block is from one colour.
int variation(const HevcBlock& block) {
    int sum = 0;
    int squares = 0;
    for (std::size_t i = 0; i < 64; ++i) {
        const int pixel = block.plane(0)[i];
        sum += pixel;
        squares += pixel * pixel;
    }
    return squares - sum * sum / 64;
}

}  // namespace

HevcPatchCoder::HevcPatchCoder(const HevcSequence& sequence)
    : sequence_(sequence),
      columns_(sequence.width / side),
      rows_(sequence.height / side),
      shown_(sequence.width, sequence.height),
      before_(shown_),
      cells_(static_cast<std::size_t>(columns_) * static_cast<std::size_t>(rows_)),
      depths_(cells_.size(), 0),
      skipped_(cells_.size(), 0),
      motion_(columns_, rows_),
      intra_(sequence.width, sequence.height, sequence.log2Tree) {}

void HevcPatchCoder::setReference(const std::array<DecodedPlane, 3>& planes, int top, int rows) {
    shown_.copyRows(planes, top, rows);
}

bool HevcPatchCoder::isClose(const HevcBlock::Distance& distance) const {
    return distance.luma <= farDistance_ && distance.chroma <= farDistance_ / 2;
}

int HevcPatchCoder::compare(const CVPixelBuffer& picture, std::span<const std::uint8_t> constantBlocks,
                            const std::optional<ScrollDistance>& scroll, int quantizer) {
    isKey_ = false;
    quantizer_ = quantizer;
    differences_.clear();
    std::fill(cells_.begin(), cells_.end(), Cell());
    scroll_.reset();
    farDistance_ = -1;
    if (scroll && std::max(std::abs(scroll->x), std::abs(scroll->y)) <= maxDistance) {
        scroll_ = vectorOf(*scroll);
        farDistance_ = static_cast<int>(64 * closeness * std::exp2((quantizer - 4) / 3.0));
        before_ = shown_;
        matches_.scroll(*scroll);
    }
    constexpr int macroblock = 2;  // in blocks
    const int macroblocks = (columns_ + macroblock - 1) / macroblock;
    for (int y = 0; y < rows_ * side; y += side) {
        for (int x = 0; x < columns_ * side; x += side) {
            const auto index =
                static_cast<std::size_t>(y / side / macroblock * macroblocks + x / side / macroblock);
            if (index >= constantBlocks.size() || constantBlocks[index] == 0) compareBlock(picture, x, y);
        }
    }
    return static_cast<int>(
        std::count_if(cells_.begin(), cells_.end(), [](const Cell& cell) { return cell.isNew; }));
}

/// Chooses the prediction of a block.
void HevcPatchCoder::compareBlock(const CVPixelBuffer& picture, int x, int y) {
    Cell& cell = cells_[place(x, y)];
    cell.isFar = true;
    if (!scroll_) return;
    const HevcBlock source = sourceBlock(picture, x, y);
    int least = variation(source);
    cell.isNew = true;
    if (tryVector(source, x, y, *scroll_, least) || tryVector(source, x, y, HevcVector(), least)) return;
    // A word goes on where it does elsewhere.
    if (x > 0 && tryVector(source, x, y, (&cell - 1)->vector, least)) return;
    if (y > 0 && tryVector(source, x, y, (&cell - columns_)->vector, least)) return;
    if (const auto found = matches_.find(picture, x, y)) tryVector(source, x, y, *found, least);
}

/// Takes the vector's prediction if its squared difference is less than `least`. Returns whether it is close
/// to the source.
bool HevcPatchCoder::tryVector(const HevcBlock& source, int x, int y, HevcVector vector, int& least) {
    if (!before_.contains(x, y, vector)) return false;
    const HevcBlock predicted = before_.moved(x, y, vector);
    const HevcBlock::Distance distance = source.distance(predicted);
    const bool close = isClose(distance);
    if (!close && distance.luma + distance.chroma >= least) return false;
    least = distance.luma + distance.chroma;
    cells_[place(x, y)] = {vector, -1, false, !close};
    shown_.write(predicted, x, y);
    return close;
}

/// Quantizes the difference of a block to its prediction, and adds it there.
void HevcPatchCoder::subtract(const CVPixelBuffer& picture, int x, int y) {
    Cell& cell = cells_[place(x, y)];
    const HevcBlock source = sourceBlock(picture, x, y);
    const HevcBlock predicted = shown_.moved(x, y, HevcVector());
    Difference difference;
    bool isAny = false;
    for (std::size_t i = 0; i < 3; ++i) {
        const int length = HevcBlock::sideOf(i);
        hevc::Square& levels = difference.levels[i];
        for (std::size_t pixel = 0; pixel < static_cast<std::size_t>(length * length); ++pixel)
            levels[pixel] = static_cast<std::int16_t>(source.plane(i)[pixel] - predicted.plane(i)[pixel]);
        const int quantizer = i == 0 ? quantizer_ : hevc::chromaQuantizer(quantizer_);
        difference.isCoded[i] = hevc::quantize(levels, length, quantizer, hevc::Transform::cosine, rounding);
        if (!difference.isCoded[i]) continue;
        isAny = true;
        const int scale = i == 0 ? 1 : 2;
        hevc::addRestored(levels, length, quantizer, hevc::Transform::cosine,
                          shown_.at(i, x / scale, y / scale), shown_.stride(i));
    }
    if (!isAny) return;
    cell.difference = static_cast<std::int32_t>(differences_.size());
    differences_.push_back(difference);
}

void HevcPatchCoder::code(const CVPixelBuffer& picture, const HevcPlace& place,
                          std::vector<std::uint8_t>& sample) {
    for (int y = 0; y < rows_ * side; y += side) {
        for (int x = 0; x < columns_ * side; x += side) {
            Cell& cell = cells_[this->place(x, y)];
            if (!cell.isFar) continue;
            if (!cell.isNew) subtract(picture, x, y);
            if (scroll_) matches_.add(picture, x, y);
            cell.isFar = false;
        }
    }
    const int candidates = scroll_ ? HevcMotion::maxCandidates : 1;
    motion_.begin(candidates);
    unit_.clear();
    beginPatch(unit_, sequence_, place, candidates, quantizer_);
    codeSlice(picture, hevc::predictedContexts, sample);
}

void HevcPatchCoder::codeKey(const CVPixelBuffer& picture, int quantizer, std::vector<std::uint8_t>& sample) {
    isKey_ = true;
    quantizer_ = quantizer;
    Cell cell;
    cell.isNew = true;
    std::fill(cells_.begin(), cells_.end(), cell);
    motion_.begin(1);
    unit_.clear();
    beginKeyPicture(unit_, quantizer);
    codeSlice(picture, hevc::keyContexts, sample);
}

void HevcPatchCoder::codeSlice(const CVPixelBuffer& picture, const hevc::InitialContexts& contexts,
                               std::vector<std::uint8_t>& sample) {
    picture_ = &picture;
    intra_.begin(shown_, motion_, quantizer_);
    cabac_.begin(unit_, contexts, quantizer_);
    const int tree = 1 << sequence_.log2Tree;
    for (int y = 0; y < sequence_.height; y += tree) {
        for (int x = 0; x < sequence_.width; x += tree) {
            codeTree(x, y, sequence_.log2Tree, 0);
            cabac_.end(y + tree >= sequence_.height && x + tree >= sequence_.width);
        }
    }
    appendNalUnit(sample, unit_.bytes());
}

/// Whether a block inside of the picture moves as a whole, without a difference.
bool HevcPatchCoder::isWhole(int x, int y, int length) const {
    const Cell& first = cells_[place(x, y)];
    if (first.isNew || first.difference >= 0) return false;
    for (int row = y; row < y + length; row += side) {
        const auto begin = cells_.begin() + static_cast<std::ptrdiff_t>(place(x, row));
        if (std::any_of(begin, begin + length / side, [&](const Cell& cell) { return cell != first; }))
            return false;
    }
    return true;
}

bool HevcPatchCoder::isOneColor(int x, int y, int length) const {
    const CVPixelBuffer& picture = *picture_;
    if (x + length > picture.width || y + length > picture.height) return false;
    const std::uint8_t* luma = picture.luma + std::ptrdiff_t{y} * picture.lumaStride + x;
    const std::uint8_t* chroma = picture.chroma + std::ptrdiff_t{y / 2} * picture.chromaStride + x;
    for (int row = 0; row < length; ++row) {
        const std::uint8_t* line = luma + std::ptrdiff_t{row} * picture.lumaStride;
        if (std::any_of(line, line + length, [&](std::uint8_t pixel) { return pixel != *luma; }))
            return false;
    }
    for (int row = 0; row < length / 2; ++row) {
        const std::uint8_t* line = chroma + std::ptrdiff_t{row} * picture.chromaStride;
        for (int column = 0; column < length; ++column)
            if (line[column] != chroma[column % 2]) return false;
    }
    return true;
}

void HevcPatchCoder::codeTree(int x, int y, int log2, int depth) {
    const int length = 1 << log2;
    const bool isInside = x + length <= sequence_.width && y + length <= sequence_.height;
    std::optional<hevc::IntraMode> flat;
    bool isSplit = length > side;
    if (isInside && isSplit) {
        const std::size_t index = place(x, y);
        const int deeper = (x > 0 && depths_[index - 1] > depth ? 1 : 0) +
                           (y > 0 && depths_[index - static_cast<std::size_t>(columns_)] > depth ? 1 : 0);
        if (isKey_ && length <= hevc::maxIntraSide && isOneColor(x, y, length))
            flat = intra_.predictFlat(sourceBlock(*picture_, x, y), x, y, length);
        isSplit = !flat && !isWhole(x, y, length);
        cabac_.bin(hevc::splitContexts + static_cast<std::size_t>(deeper), isSplit);
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
    const bool isSkipped = codeBlock(x, y, length, flat);
    for (int row = y; row < y + length; row += side) {
        const auto begin = static_cast<std::ptrdiff_t>(place(x, row));
        std::fill_n(depths_.begin() + begin, length / side, static_cast<std::uint8_t>(depth));
        std::fill_n(skipped_.begin() + begin, length / side, static_cast<std::uint8_t>(isSkipped ? 1 : 0));
    }
}

/// Returns whether the block is skipped.
bool HevcPatchCoder::codeBlock(int x, int y, int length, const std::optional<hevc::IntraMode>& flat) {
    const std::size_t index = place(x, y);
    const Cell& cell = cells_[index];
    const int column = x / side;
    const int row = y / side;
    const int candidate = cell.isNew ? -1 : motion_.candidate(column, row, length / side, cell.vector);
    const bool isSkipped = candidate >= 0 && cell.difference < 0;
    if (!isKey_) {
        const int skipped = (x > 0 ? skipped_[index - 1] : 0) +
                            (y > 0 ? skipped_[index - static_cast<std::size_t>(columns_)] : 0);
        cabac_.bin(hevc::skipContexts + static_cast<std::size_t>(skipped), isSkipped);
        if (!isSkipped) cabac_.bin(hevc::intraContext, cell.isNew);
    }
    if (flat) {
        intra_.codeFlat(cabac_, x, y, *flat);
    } else if (cell.isNew) {
        intra_.code(cabac_, sourceBlock(*picture_, x, y), x, y);
    } else if (isSkipped) {
        motion_.codeCandidate(cabac_, candidate);
    } else {
        cabac_.bin(hevc::wholeContext, true);
        cabac_.bin(hevc::mergeContext, candidate >= 0);
        if (candidate >= 0) {
            motion_.codeCandidate(cabac_, candidate);
        } else {
            motion_.codeVector(cabac_, column, row, length / side, cell.vector);
            cabac_.bin(hevc::anyCodedContext, cell.difference >= 0);
        }
        if (cell.difference >= 0) codeDifference(differences_[static_cast<std::size_t>(cell.difference)]);
    }
    motion_.set(column, row, length / side, cell.isNew ? std::nullopt : std::optional(cell.vector));
    return isSkipped;
}

void HevcPatchCoder::codeDifference(const Difference& difference) {
    const auto& [luma, cb, cr] = difference.isCoded;
    cabac_.bin(hevc::chromaContext, cb);
    cabac_.bin(hevc::chromaContext, cr);
    if (cb || cr) cabac_.bin(hevc::lumaContexts + 1, luma);
    for (std::size_t i = 0; i < 3; ++i) {
        if (difference.isCoded[i])
            hevc::codeLevels(cabac_, difference.levels[i], HevcBlock::sideOf(i), i > 0,
                             hevc::Transform::cosine, hevc::Scan::diagonal);
    }
}

}  // namespace lumicrate::media
