// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Images/FrameQuantizer.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <span>
#include <utility>

namespace lumicrate::media {

namespace {

constexpr int minColors = 32;
/// Less than two steps in each channel.
constexpr int invisible = 8;
constexpr int keepMargin = 8;
/// The same for the lowest quality: five steps and four.
constexpr int mostInvisible = 160;
constexpr int mostKeepMargin = 112;
/// The sum of pixel differences that a byte of an additional palette must save.
constexpr std::int64_t byteWorth = 10;

}  // namespace

FrameQuantizer::FrameQuantizer(double quality)
    : colors_(static_cast<int>(
          std::lround(minColors * std::pow(double{Palette::maxColors} / minColors, quality)))),
      invisible_(static_cast<int>(std::lround(std::lerp(mostInvisible, invisible, quality)))),
      keepMargin_(static_cast<int>(std::lround(std::lerp(mostKeepMargin, keepMargin, quality)))) {}

const IndexedFrame& FrameQuantizer::add(const CGImage& image) {
    if (width_ == 0) begin(image);
    findChanges(image);
    choosePalette();
    draw();
    crop();
    last_ = image.pixels;
    return frame_;
}

void FrameQuantizer::begin(const CGImage& image) {
    width_ = image.width;
    height_ = image.height;
    const std::size_t pixels = image.pixels.size() / 3;
    changed_.reserve(pixels);
    whole_.resize(pixels);
}

void FrameQuantizer::findChanges(const CGImage& image) {
    changed_.clear();
    targets_.clear();
    const bool isFirst = last_.empty();
    if (isFirst) shown_.resize(image.pixels.size());
    const std::size_t rowBytes = static_cast<std::size_t>(width_) * 3;
    for (std::size_t row = 0; row < image.pixels.size(); row += rowBytes) {
        const std::uint8_t* pixels = image.pixels.data() + row;
        if (!isFirst && std::memcmp(pixels, last_.data() + row, rowBytes) == 0) continue;
        for (std::size_t i = 0; i < rowBytes; i += 3) {
            if (!isFirst) {
                if (std::memcmp(pixels + i, last_.data() + row + i, 3) == 0) continue;
                if (difference(colorAt(pixels + i), colorAt(&shown_[row + i])) <= invisible_) continue;
            }
            changed_.push_back({static_cast<std::uint32_t>((row + i) / 3), targets_.add(pixels + i)});
        }
    }
}

void FrameQuantizer::choosePalette() {
    frame_.palette = &first_;
    frame_.isFirstPalette = true;
    if (changed_.empty()) return;
    if (first_.colors().empty()) {
        first_ = Palette::choose(targets_, colors_);
        assign(first_);
        return;
    }
    // Prefer the palette of the first frame, which costs no bytes.
    const std::int64_t firstError = assign(first_);
    if (firstError <= 3 * byteWorth) return;
    own_ = Palette::choose(targets_, colors_);
    const auto price = static_cast<std::int64_t>(own_.colors().size()) * 3 * byteWorth;
    if (firstError <= price) return;
    std::vector<std::uint8_t> before = std::exchange(indices_, {});
    const std::int64_t ownError = assign(own_);
    if (firstError <= ownError + price) {
        indices_ = std::move(before);
    } else {
        frame_.palette = &own_;
        frame_.isFirstPalette = false;
    }
}

/// Returns the sum of the differences of all changed pixels.
std::int64_t FrameQuantizer::assign(const Palette& palette) {
    indices_ = palette.match(targets_);
    std::int64_t error = 0;
    for (std::size_t i = 0; i < indices_.size(); ++i) {
        const Color target = colorAt(targets_.colors()[i].data());
        error += std::int64_t{difference(palette.colors()[indices_[i]], target)} * targets_.pixels()[i];
    }
    return error;
}

void FrameQuantizer::draw() {
    const auto& colors = frame_.palette->colors();
    const bool isFirst = last_.empty();
    std::fill(whole_.begin(), whole_.end(), static_cast<std::uint8_t>(colors.size()));
    for (const ChangedPixel& pixel : changed_) {
        std::uint8_t* shown = &shown_[std::size_t{pixel.number} * 3];
        const std::uint8_t index = indices_[pixel.color];
        const Color target = colorAt(targets_.colors()[pixel.color].data());
        if (!isFirst && difference(colorAt(shown), target) <= difference(colors[index], target) + keepMargin_)
            continue;
        whole_[pixel.number] = index;
        std::copy(colors[index].begin(), colors[index].end(), shown);
    }
}

/// Crops the frame to what is drawn; to one transparent pixel where nothing is.
void FrameQuantizer::crop() {
    const auto clear = static_cast<std::uint8_t>(frame_.palette->colors().size());
    const auto isDrawn = [clear](std::uint8_t index) { return index != clear; };
    int left = width_, right = 0, top = height_, bottom = 0;
    for (int y = 0; y < height_; ++y) {
        const std::span<const std::uint8_t> row = rowOf(y);
        const auto first = std::find_if(row.begin(), row.end(), isDrawn);
        if (first == row.end()) continue;
        const auto last = std::find_if(row.rbegin(), row.rend(), isDrawn);
        left = std::min(left, static_cast<int>(first - row.begin()));
        right = std::max(right, static_cast<int>(row.rend() - last));
        top = std::min(top, y);
        bottom = y + 1;
    }
    const bool isEmpty = bottom == 0;
    frame_.area = isEmpty ? PixelRect{0, 0, 1, 1} : PixelRect{left, top, right - left, bottom - top};
    frame_.indices.clear();
    for (int y = frame_.area.y; y < frame_.area.maxY(); ++y) {
        const auto part = rowOf(y).subspan(static_cast<std::size_t>(frame_.area.x),
                                           static_cast<std::size_t>(frame_.area.width));
        frame_.indices.insert(frame_.indices.end(), part.begin(), part.end());
    }
}

std::span<const std::uint8_t> FrameQuantizer::rowOf(int y) const {
    const auto width = static_cast<std::size_t>(width_);
    return {whole_.data() + static_cast<std::size_t>(y) * width, width};
}

}  // namespace lumicrate::media
