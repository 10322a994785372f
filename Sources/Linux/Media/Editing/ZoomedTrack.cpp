// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Editing/ZoomedTrack.h"

#include "Linux/Media/Editing/InputMovie.h"
#include "Linux/Media/Editing/PictureReader.h"
#include "Linux/Media/Editing/PictureShaper.h"
#include "Linux/Media/Editing/PictureTimes.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>
#include <vector>

namespace lumicrate::media {

namespace {

constexpr int minRate = 30;
constexpr int maxRate = 60;

/// At which most pictures follow each other where something moves.
int usualRate(const std::filesystem::path& path) {
    const std::vector<CMTime> times = pictureTimesOf(path);
    std::vector<double> distances;
    for (std::size_t i = 1; i < times.size(); ++i)
        distances.push_back((times[i] - times[i - 1]).seconds());
    if (distances.empty()) return minRate;
    // Long distances are those where nothing moved.
    const auto usual = distances.begin() + static_cast<std::ptrdiff_t>(distances.size() / 10);
    std::nth_element(distances.begin(), usual, distances.end());
    return static_cast<int>(std::lround(std::clamp<double>(1 / std::max(*usual, 1e-6), minRate, maxRate)));
}

AVPixelFormat formatFor(const AVCodecParameters& source) {
    const auto format = static_cast<AVPixelFormat>(source.format);
    const bool odd = (source.width | source.height) % 2 != 0;
    return isZoomable(format) && !odd ? format : AV_PIX_FMT_YUV420P;
}

}  // namespace

ZoomedTrack::ZoomedTrack(const InputMovie& source, int track, AVVideoView view)
    : ZoomedTrack(source, track, std::move(view), usualRate(source.path())) {}

ZoomedTrack::ZoomedTrack(const InputMovie& source, int track, AVVideoView view, int rate)
    : source_(source),
      track_(track),
      view_(std::move(view)),
      encoder_(source, track, {AV_CODEC_ID_H264, formatFor(*source.stream(track).codecpar), rate}),
      zoom_({source.stream(track).codecpar->width, source.stream(track).codecpar->height}),
      interval_(std::llround(1 / (rate * av_q2d(encoder_.clock())))) {}

void ZoomedTrack::addTo(OutputMovie& movie) {
    movie_ = &movie;
    encoder_.addTo(movie, source_.packetCount(track_) + changesOfView());
}

Rect ZoomedTrack::viewAt(std::int64_t time) const {
    const AVRational clock = encoder_.clock();
    return view_(CMTime(time * clock.num, clock.den));
}

/// At least as many as pictures that are repeated for them.
std::int64_t ZoomedTrack::changesOfView() const {
    const std::int64_t step = interval_ / 2;
    const auto end = static_cast<std::int64_t>(source_.duration() / av_q2d(encoder_.clock()));
    std::int64_t changes = 0;
    Rect last = viewAt(0);
    for (std::int64_t time = step; time < end + step; time += step) {
        const Rect view = viewAt(time);
        if (view != last) ++changes;
        last = view;
    }
    return changes;
}

/// Whole intervals after `after`, so that pictures that follow at the usual rate are not repeated.
std::optional<std::int64_t> ZoomedTrack::nextChange(std::int64_t after, std::int64_t end) const {
    const Rect shown = viewAt(after);
    for (std::int64_t time = after + interval_; time <= end - interval_ / 2; time += interval_) {
        if (viewAt(time) != shown) return time;
    }
    return std::nullopt;
}

void ZoomedTrack::write() {
    const AVCodecParameters& pictures = *source_.stream(track_).codecpar;
    PictureShaper shaper(pictures.width, pictures.height, encoder_.format());
    PictureReader reader(source_.path(), track_, TickRange::of(std::nullopt, encoder_.clock()),
                         encoder_.clock(), PictureReader::Until::rangeEnds,
                         [this] { movie_->checkCancelled(); });
    while (const auto picture = reader.next()) {
        AVFrame& whole = shaper.shaped(picture->frame);
        const std::int64_t end = picture->time + picture->duration;
        std::int64_t time = picture->time;
        while (const auto change = nextChange(time, end)) {
            encode(whole, time, *change);
            time = *change;
        }
        encode(whole, time, end);
    }
    encoder_.finish();
}

void ZoomedTrack::encode(AVFrame& picture, std::int64_t time, std::int64_t end) {
    encoder_.encode(zoom_.zoomed(picture, viewAt(time)), time, end - time);
}

}  // namespace lumicrate::media
