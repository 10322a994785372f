// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Encoding/UncoveredBlocks.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>

namespace lumicrate::media {

namespace {

constexpr int block = 16;
/// A motion is the same as in the previous picture within this many pixels, or is searched this far.
constexpr int steadyReach = 2;
constexpr int wideReach = 24;
/// Sampled pixels are this far apart, in each direction; a prime number, so that they do not follow a
/// pattern.
constexpr int sampleDistance = 41;
/// What moves otherwise counts no more than this.
constexpr int maxDifference = 16;
/// Mean difference of the samples from which on the motion is searched anew.
constexpr int maxMeanDifference = 4;
/// Pictures between two wide searches that find nothing.
constexpr int skippedPictures = 4;
/// Mean difference of a pixel up to which a block is a copy. Beyond, the encoder would code the difference.
constexpr int copiedDifference = 2;
/// More uncovered blocks than this part of the picture are a new picture.
constexpr int maxPart = 4;

}  // namespace

UncoveredBlocks::UncoveredBlocks(int width, int height)
    : width_(width),
      height_(height),
      columns_((width + block - 1) / block),
      rows_((height + block - 1) / block) {}

void UncoveredBlocks::update(const CVPixelBuffer& picture, std::span<const std::uint8_t> constant) {
    flags_.clear();
    if (hasPrevious_) compare(picture, constant);
    const auto width = static_cast<std::size_t>(width_);
    previous_.resize(width * static_cast<std::size_t>(height_));
    for (int row = 0; row < height_; ++row)
        std::memcpy(previous_.data() + static_cast<std::size_t>(row) * width,
                    picture.luma + std::ptrdiff_t{row} * picture.lumaStride, width);
    hasPrevious_ = true;
}

void UncoveredBlocks::compare(const CVPixelBuffer& picture, std::span<const std::uint8_t> constant) {
    search(picture, constant);
    flags_.assign(static_cast<std::size_t>(columns_) * static_cast<std::size_t>(rows_), 0);
    std::size_t uncovered = 0;
    for (int row = 0; row < rows_; ++row) {
        for (int column = 0; column < columns_; ++column) {
            const auto index = static_cast<std::size_t>(row * columns_ + column);
            if (constant[index] != 0 || isAt(motion_, column, row, picture)) continue;
            flags_[index] = 1;
            ++uncovered;
        }
    }
    if (uncovered * maxPart > flags_.size()) flags_.clear();
}

/// Samples are taken where the picture changed and far enough from its edges.
void UncoveredBlocks::search(const CVPixelBuffer& picture, std::span<const std::uint8_t> constant) {
    samples_.clear();
    for (int y = wideReach; y < height_ - wideReach; y += sampleDistance) {
        for (int x = wideReach; x < width_ - wideReach; x += sampleDistance) {
            if (constant[static_cast<std::size_t>(y / block * columns_ + x / block)] == 0)
                samples_.emplace_back(x, y);
        }
    }
    std::int64_t difference = 0;
    motion_ = bestWithin(steadyReach, motion_, picture, difference);
    if (difference <= maxMeanDifference * std::ssize(samples_) || skips_-- > 0) return;
    motion_ = bestWithin(wideReach, {}, picture, difference);
    skips_ = difference <= maxMeanDifference * std::ssize(samples_) ? 0 : skippedPictures;
}

UncoveredBlocks::Vector UncoveredBlocks::bestWithin(int reach, Vector center, const CVPixelBuffer& picture,
                                                    std::int64_t& difference) const {
    Vector best = center;
    difference = differenceAt(center, picture);
    const auto from = [&](int middle) { return std::max(middle - reach, -wideReach); };
    const auto to = [&](int middle) { return std::min(middle + reach, wideReach); };
    for (int y = from(center.y); y <= to(center.y); ++y) {
        for (int x = from(center.x); x <= to(center.x); ++x) {
            const std::int64_t other = differenceAt({x, y}, picture);
            if (other >= difference) continue;
            difference = other;
            best = {x, y};
        }
    }
    return best;
}

std::int64_t UncoveredBlocks::differenceAt(Vector vector, const CVPixelBuffer& picture) const {
    std::int64_t sum = 0;
    for (const auto& [x, y] : samples_)
        sum += std::min(std::abs(picture.luma[std::ptrdiff_t{y} * picture.lumaStride + x] -
                                 previous_[static_cast<std::size_t>((y + vector.y) * width_ + x + vector.x)]),
                        maxDifference);
    return sum;
}

bool UncoveredBlocks::isAt(Vector vector, int column, int row, const CVPixelBuffer& picture) const {
    const int left = column * block;
    const int top = row * block;
    const int width = std::min(block, width_ - left);
    const int height = std::min(block, height_ - top);
    if (left + vector.x < 0 || left + vector.x + width > width_ || top + vector.y < 0 ||
        top + vector.y + height > height_)
        return false;
    const std::uint8_t* now = picture.luma + std::ptrdiff_t{top} * picture.lumaStride + left;
    const std::uint8_t* before = previous_.data() + std::ptrdiff_t{top + vector.y} * width_ + left + vector.x;
    // Every second row is enough.
    constexpr int distance = 2;
    int difference = 0;
    for (int y = 0; y < height; y += distance) {
        for (int x = 0; x < width; ++x)
            difference += std::abs(now[x] - before[x]);
        now += std::ptrdiff_t{distance} * picture.lumaStride;
        before += std::ptrdiff_t{distance} * width_;
    }
    return difference * distance <= copiedDifference * width * height;
}

}  // namespace lumicrate::media
