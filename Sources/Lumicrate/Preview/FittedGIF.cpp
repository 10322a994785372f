// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Preview/FittedGIF.h"

#include "Lumicrate/Library/DerivedFiles.h"
#include "Lumicrate/Preview/SizeSearch.h"
#include "Support/Error.h"
#include "Support/Log.h"
#include "Support/Text.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>
#include <memory>
#include <utility>
#include <vector>

namespace lumicrate {

namespace {

/// How the bytes of an animation are distributed over the movie, as the smallest one has shown.
class Profile {
 public:
    void add(double part, std::uint64_t bytes) { points_.push_back({part, static_cast<double>(bytes)}); }
    double first() const { return points_.front().bytes; }

    /// How much of the bytes after the first frame are in the first `part` of the movie, 0 … 1.
    double shareAt(double part) const {
        const auto next = std::find_if(points_.begin(), points_.end(),
                                       [part](const Point& point) { return point.part >= part - 1e-9; });
        const double all = points_.back().bytes - first();
        if (next == points_.end() || all <= 0) return part;
        return (next->bytes - first()) / all;
    }
    /// The part of the movie whose animation has at most that many bytes; 0 when not even a frame fits.
    double partFor(std::uint64_t bytes) const {
        double part = 0;
        for (const Point& point : points_) {
            if (point.bytes <= static_cast<double>(bytes)) part = point.part;
        }
        return part;
    }

 private:
    struct Point {
        double part;
        double bytes;
    };
    std::vector<Point> points_;
};

/// Makes animations until one is just below the limit, each under a name of its own, of which only the best
/// one is kept.
class FittedGIF {
 public:
    FittedGIF(const GIFFrames& frames, const ImageIO& images, NSFileManager& files,
              std::filesystem::path destination, const GIFSize& max, std::uint64_t maxBytes);

    void run(const LongWork& work);

 private:
    struct Candidate {
        std::unique_ptr<TemporaryFile> name;
        std::unique_ptr<CGImageDestination> file;
    };
    /// What a trial found out: a size, which is an estimate if it was stopped.
    struct Outcome {
        double bytes = 0;
        bool isComplete = true;
    };

    void attempt(double position, const LongWork& work);
    bool goesOn(double part, std::uint64_t bytes, Outcome& outcome);
    [[noreturn]] void failAsTooLong(double bytes) const;

    const GIFFrames& frames_;
    const ImageIO& images_;
    NSFileManager& files_;
    std::filesystem::path destination_;
    GIFSize max_;
    double sourceWidth_;
    std::uint64_t maxBytes_;
    SizeSearch search_;
    Profile profile_;
    double firstFrame_ = 0;  ///< its bytes, in the present trial
    bool isTop_ = false;     ///< the present trial is that of the best settings
    Candidate best_;
};

/// Bytes grow less than pixels, because what is still costs nothing, and less than frames, because the
/// differences between frames that are further apart are larger.
double expectedSize(const GIFSize& size) {
    constexpr double byWidth = 1.6;
    constexpr double byRate = 0.7;
    constexpr double byQuality = 1;
    return byWidth * std::log(size.width) + byRate * std::log(size.fps) + byQuality * size.encoding.quality;
}

FittedGIF::FittedGIF(const GIFFrames& frames, const ImageIO& images, NSFileManager& files,
                     std::filesystem::path destination, const GIFSize& max, std::uint64_t maxBytes)
    : frames_(frames),
      images_(images),
      files_(files),
      destination_(std::move(destination)),
      max_(max),
      sourceWidth_(frames.pictureSize().value_or(Size{max.width, 1}).width),
      maxBytes_(maxBytes),
      search_(maxBytes,
              [this](double position) { return expectedSize(fittedSizeAt(position, max_, sourceWidth_)); }) {}

/// No one knows how many trials there will be, so each of them gets a fixed part of what is left.
void FittedGIF::run(const LongWork& work) {
    constexpr double partOfFirst = 0.2;
    constexpr double partOfOther = 0.6;
    double done = 0;
    while (const auto position = search_.next()) {
        const double part = (1 - done) * (done == 0 ? partOfFirst : partOfOther);
        const auto report = [&work, done, part](double fraction) { work.reach(done + part * fraction); };
        attempt(*position, {report, work.stop});
        done += part;
    }
    work.reach(1);
    best_.file->finalize();
    files_.moveItem(best_.name->url(), destination_);
}

void FittedGIF::attempt(double position, const LongWork& work) {
    const GIFSize size = fittedSizeAt(position, max_, sourceWidth_);
    Candidate candidate;
    candidate.name = std::make_unique<TemporaryFile>(files_, destination_, "gif");
    candidate.file = images_.makeAnimation(candidate.name->url(), size.encoding);
    Outcome outcome;
    firstFrame_ = 0;
    isTop_ = position >= 1;
    const bool isFirst = position == 0;
    const auto observe = [&](double part) {
        const std::uint64_t bytes = candidate.file->size();
        if (isFirst) profile_.add(part, bytes);
        return isFirst || goesOn(part, bytes, outcome);
    };
    outcome.isComplete = frames_.addTo(*candidate.file, size, work, observe);
    if (outcome.isComplete) outcome.bytes = static_cast<double>(candidate.file->size());
    log(LogArea::library, "trial at ", position, ": ", outcome.bytes,
        outcome.isComplete ? "" : " (estimated)");
    search_.add(position, outcome.bytes, !outcome.isComplete);
    if (isFirst && !search_.best()) failAsTooLong(outcome.bytes);
    if (search_.best() == position) best_ = std::move(candidate);
}

/// Stops a trial as soon as it is clear that it will miss the limit by far, and estimates its size.
bool FittedGIF::goesOn(double part, std::uint64_t bytes, Outcome& outcome) {
    constexpr double minShare = 0.3;
    constexpr double farTooLarge = 1.25;
    constexpr double farTooSmall = 0.75;
    const auto now = static_cast<double>(bytes);
    const auto limit = static_cast<double>(maxBytes_);
    if (firstFrame_ == 0) firstFrame_ = now;
    const double share = profile_.shareAt(part);
    outcome.bytes = firstFrame_ + (now - firstFrame_) / std::max(share, minShare / 10);
    if (bytes > maxBytes_) {
        outcome.bytes = std::max(outcome.bytes, now * 1.001);
        return false;
    }
    const bool isKnown = share >= minShare && part >= minShare;
    if (!isKnown || search_.isLast()) return true;
    return outcome.bytes < limit * farTooLarge &&
           (isTop_ || !search_.isEarly() || outcome.bytes > limit * farTooSmall);
}

void FittedGIF::failAsTooLong(double bytes) const {
    const double part = profile_.partFor(maxBytes_);
    if (part <= 0)
        throw LocalizedError(
            localized("Not even one picture of this recording fits into {}.", {formatByteCount(maxBytes_)}));
    throw LocalizedError(
        localized("Even the smallest version would have {}. Only the first {} of the recording fit into {}.",
                  {formatByteCount(static_cast<std::uintmax_t>(bytes)),
                   formatElapsed(part * frames_.duration()), formatByteCount(maxBytes_)}));
}

}  // namespace

GIFSize fittedSizeAt(double position, const GIFSize& max, double sourceWidth) {
    constexpr double minWidth = 320;
    constexpr double minRate = 5;
    /// How much is given up of width and rate, each from 0 for the maximum to 1 for the minimum.
    struct Step {
        double position, width, rate, quality;
    };
    constexpr std::array<Step, 6> steps{{{0, 1, 1, 0},
                                         {0.2, 0.7, 0.7, 0.2},
                                         {0.4, 0.4, 0.5, 0.3},
                                         {0.65, 0, 0.4, 0.4},
                                         {0.8, 0, 0, 0.45},
                                         {1, 0, 0, 1}}};
    const auto next = std::find_if(steps.begin() + 1, steps.end() - 1,
                                   [position](const Step& step) { return position < step.position; });
    const Step& from = *std::prev(next);
    const double part = (position - from.position) / (next->position - from.position);
    const auto between = [part](double a, double b) { return a + (b - a) * part; };
    const auto reduced = [](double maximum, double minimum, double by) {
        return maximum * std::pow(std::min(minimum / maximum, 1.0), by);
    };
    GIFSize size = max;
    const double width = std::min(max.width, sourceWidth);
    size.width = std::round(reduced(width, minWidth, between(from.width, next->width)));
    size.fps = reduced(max.fps, minRate, between(from.rate, next->rate));
    size.encoding.quality = between(from.quality, next->quality);
    return size;
}

void exportFittedGIF(const AVAssets& assets, const ImageIO& images, NSFileManager& files,
                     const std::filesystem::path& url, const std::filesystem::path& destination,
                     const GIFSize& max, std::uint64_t maxBytes, const LongWork& work) {
    if (files.fileExists(destination))
        throw LocalizedError(localized("There is already a file with that name."));
    const GIFFrames frames(assets, images, url);
    FittedGIF(frames, images, files, destination, max, maxBytes).run(work);
}

}  // namespace lumicrate
