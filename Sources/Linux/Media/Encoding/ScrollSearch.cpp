// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Encoding/ScrollSearch.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstring>
#include <utility>

namespace lumicrate::media {

namespace {

constexpr int block = 16;
/// Samples of a line across a strip.
constexpr int samples = 32;
/// From one strip to the next, about.
constexpr int stripDistance = 192;
constexpr int minSide = 64;
/// Where there are fewer changed pixels, the motion search is cheap anyway.
constexpr int minPartOfPicture = 16;
/// The lines that identify a place. A single line is often the same as the one below it.
constexpr int pattern[] = {0, 4, 9, 15};
constexpr int patternLength = 16;
/// A scroll must be seen at so many places, at this part of those that changed, and by this part of the
/// votes.
constexpr int minVotes = 24;
constexpr double minPartOfChanges = 0.1;
constexpr double minPartOfVotes = 0.7;
/// After that many large changes without a scroll, as in a film, pictures are skipped between two searches.
constexpr int maxFailures = 3;
constexpr int skippedPictures = 4;

std::uint32_t hashOf(const std::uint8_t* line) {
    std::uint64_t hash = 0x9e3779b97f4a7c15;
    for (int i = 0; i < samples; i += 8) {
        std::uint64_t word = 0;
        std::memcpy(&word, line + i, sizeof word);
        hash = (hash ^ word) * 0xd6e8feb86659fd93;
        hash ^= hash >> 32;
    }
    return static_cast<std::uint32_t>(hash);
}

/// The hashes of columns, each from `samples` rows. Row by row, so that the compiler can vectorise it.
void hashColumns(const std::uint8_t* first, int stride, std::uint32_t* hashes, int count) {
    std::fill_n(hashes, count, 5381U);
    for (int row = 0; row < samples; ++row, first += stride) {
        for (int i = 0; i < count; ++i)
            hashes[i] = (hashes[i] << 5U) + hashes[i] + first[i];
    }
}

std::uint32_t signatureAt(const std::vector<std::uint32_t>& lines, int place) {
    std::uint32_t signature = 0;
    for (const int offset : pattern)
        signature = std::rotl(signature * 0x9e3779b1U, 15) ^ lines[static_cast<std::size_t>(place + offset)];
    return signature;
}

bool overlap(int begin, int length, int otherBegin, int otherLength) {
    return begin < otherBegin + otherLength && otherBegin < begin + length;
}

}  // namespace

/// Counts for each distance the places that moved that far.
class ScrollSearch::Votes {
 public:
    /// For strips of `length` lines.
    explicit Votes(int length)
        : length_(length),
          counts_(2 * static_cast<std::size_t>(length) + 1),
          slots_(std::bit_ceil(2 * static_cast<std::size_t>(length))) {}

    void add(const Strip& strip) {
        std::ranges::fill(slots_, Slot());
        const int places = length_ - patternLength + 1;
        for (int place = 0; place < places; ++place) {
            const std::uint32_t signature = signatureAt(strip.before, place);
            Slot& slot = find(signature);
            slot = {signature, place, slot.place < 0};
        }
        for (int place = 0; place < places; ++place) {
            const std::uint32_t signature = signatureAt(strip.now, place);
            if (signature == signatureAt(strip.before, place)) continue;
            ++changed_;
            const Slot& slot = find(signature);
            if (slot.place < 0 || !slot.isUnique) continue;
            ++cast_;
            ++counts_[static_cast<std::size_t>(place - slot.place + length_)];
        }
    }

    /// So little is found again that the other strips need not be searched, as in a film.
    bool areHopeless() const { return changed_ > length_ / 2 && cast_ * 50 < changed_; }

    std::optional<int> winner() const {
        const auto most = std::ranges::max_element(counts_);
        if (*most < minVotes || *most < minPartOfChanges * changed_ || *most < minPartOfVotes * cast_)
            return std::nullopt;
        return static_cast<int>(most - counts_.begin()) - length_;
    }

 private:
    struct Slot {
        std::uint32_t signature = 0;
        int place = -1;  ///< negative for an empty slot
        bool isUnique = false;
    };

    /// The slot of that signature, or the empty one for it. The table is at most half full.
    Slot& find(std::uint32_t signature) {
        const std::size_t mask = slots_.size() - 1;
        std::size_t at = signature & mask;
        while (slots_[at].place >= 0 && slots_[at].signature != signature)
            at = (at + 1) & mask;
        return slots_[at];
    }

    int length_;
    std::vector<int> counts_;
    std::vector<Slot> slots_;
    int changed_ = 0;
    int cast_ = 0;
};

ScrollSearch::ScrollSearch(int width, int height) : width_(width), height_(height) {
    if (std::min(width, height) < minSide) return;
    upright_ = makeStrips(height, width);
    level_ = makeStrips(width, height);
}

/// Strips of `length` lines, side by side.
std::vector<ScrollSearch::Strip> ScrollSearch::makeStrips(int length, int breadth) {
    std::vector<Strip> strips(static_cast<std::size_t>(std::max(breadth / stripDistance, 1)));
    const int count = static_cast<int>(strips.size());
    for (int i = 0; i < count; ++i) {
        Strip& strip = strips[static_cast<std::size_t>(i)];
        strip.place = (2 * i + 1) * breadth / (2 * count) - samples / 2;
        strip.now.resize(static_cast<std::size_t>(length));
        strip.before.resize(static_cast<std::size_t>(length));
    }
    return strips;
}

std::optional<ScrollDistance> ScrollSearch::update(const CVPixelBuffer& picture,
                                                   const std::vector<PixelRect>& changes) {
    distance_.reset();
    if (skips_ > 0) {
        --skips_;
        isSampled_ = false;
        return std::nullopt;
    }
    const bool isComparable = std::exchange(isSampled_, true);
    for (std::vector<Strip>* const strips : {&upright_, &level_})
        for (Strip& strip : *strips)
            strip.before = strip.now;
    const PixelRect whole{0, 0, width_, height_};
    double changed = 0;
    for (const PixelRect& each : isComparable ? changes : std::vector{whole}) {
        const PixelRect inside = each.intersection(whole);
        if (inside.isEmpty()) continue;
        changed += static_cast<double>(inside.width) * inside.height;
        sample(picture, inside);
    }
    if (isComparable && changed * minPartOfPicture >= static_cast<double>(width_) * height_) search();
    return distance_;
}

void ScrollSearch::search() {
    if (const auto y = distanceIn(upright_, height_)) {
        distance_ = {0, *y};
    } else if (const auto x = distanceIn(level_, width_)) {
        distance_ = {*x, 0};
    }
    failures_ = distance_ ? 0 : failures_ + 1;
    if (failures_ >= maxFailures) skips_ = skippedPictures;
}

void ScrollSearch::sample(const CVPixelBuffer& picture, const PixelRect& changes) {
    const auto at = [&picture](int x, int y) {
        return picture.luma + std::ptrdiff_t{y} * picture.lumaStride + x;
    };
    for (Strip& strip : upright_) {
        if (!overlap(strip.place, samples, changes.x, changes.width)) continue;
        for (int y = changes.y; y < changes.maxY(); ++y)
            strip.now[static_cast<std::size_t>(y)] = hashOf(at(strip.place, y));
    }
    for (Strip& strip : level_) {
        if (!overlap(strip.place, samples, changes.y, changes.height)) continue;
        hashColumns(at(changes.x, strip.place), picture.lumaStride,
                    &strip.now[static_cast<std::size_t>(changes.x)], changes.width);
    }
}

std::optional<int> ScrollSearch::distanceIn(const std::vector<Strip>& strips, int length) {
    if (strips.empty()) return std::nullopt;
    Votes votes(length);
    for (const Strip& strip : strips) {
        votes.add(strip);
        if (votes.areHopeless()) return std::nullopt;
    }
    return votes.winner();
}

bool ScrollSearch::isScrolled(int column, int row) const {
    if (!distance_) return false;
    const bool vertical = distance_->x == 0;
    const std::vector<Strip>& strips = vertical ? upright_ : level_;
    const int breadth = vertical ? width_ : height_;
    const int length = vertical ? height_ : width_;
    const int across = (vertical ? column : row) * block + block / 2;
    const int begin = (vertical ? row : column) * block;
    const int distance = vertical ? distance_->y : distance_->x;
    const int end = std::min(begin + block, length);
    if (begin - distance < 0 || end - distance > length) return false;
    const int count = static_cast<int>(strips.size());
    const Strip& nearest = strips[static_cast<std::size_t>(std::min(across * count / breadth, count - 1))];
    return std::equal(nearest.now.begin() + begin, nearest.now.begin() + end,
                      nearest.before.begin() + begin - distance);
}

}  // namespace lumicrate::media
