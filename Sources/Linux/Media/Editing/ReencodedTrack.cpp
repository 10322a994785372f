// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Editing/ReencodedTrack.h"

#include "Linux/Media/Editing/InputMovie.h"
#include "Linux/Media/Editing/PictureReader.h"
#include "Linux/Media/Editing/PictureShaper.h"

#include <algorithm>
#include <cmath>

namespace lumicrate::media {

namespace {

constexpr int defaultRate = 30;
constexpr int maxRate = 240;

/// The source's own format where the encoder supports it.
AVPixelFormat formatFor(AVCodecID codec, const AVCodecParameters& source) {
    const bool odd = (source.width | source.height) % 2 != 0;
    for (const AVPixelFormat* each = encoderFor(codec).pix_fmts; !odd && *each != AV_PIX_FMT_NONE; ++each) {
        if (*each == source.format) return *each;
    }
    return AV_PIX_FMT_YUV420P;
}

int pictureRate(const AVStream& stream) {
    const double rate = stream.avg_frame_rate.den > 0 ? av_q2d(stream.avg_frame_rate) : 0;
    return rate > 0 ? std::clamp(static_cast<int>(std::lround(rate)), 1, maxRate) : defaultRate;
}

}  // namespace

ReencodedTrack::ReencodedTrack(const InputMovie& source, int track, AVCodecID codec, CMTimeRange range)
    : source_(source),
      track_(track),
      range_(range),
      encoder_(source, track,
               {codec, formatFor(codec, *source.stream(track).codecpar), pictureRate(source.stream(track))}) {
}

void ReencodedTrack::addTo(OutputMovie& movie) {
    movie_ = &movie;
    encoder_.addTo(movie, source_.packetCount(track_, range_));
}

void ReencodedTrack::write() {
    const AVCodecParameters& pictures = *source_.stream(track_).codecpar;
    PictureShaper shaper(pictures.width, pictures.height, encoder_.format());
    PictureReader reader(source_.path(), track_, TickRange::of(range_, encoder_.clock()), encoder_.clock(),
                         PictureReader::Until::rangeEnds, [this] { movie_->checkCancelled(); });
    while (const auto picture = reader.next())
        encoder_.encode(shaper.shaped(picture->frame), picture->time, picture->duration);
    encoder_.finish();
}

}  // namespace lumicrate::media
