// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Editing/TickRange.h"

#include "Linux/Media/Editing/OutputMovie.h"

#include <utility>

extern "C" {
#include <libavutil/mathematics.h>
}

namespace lumicrate::media {

namespace {

std::int64_t ticksAt(CMTime time, AVRational clock) {
    return av_rescale_rnd(time.value(), clock.den, time.timescale() * clock.num, AV_ROUND_NEAR_INF);
}

}  // namespace

TickRange TickRange::of(const std::optional<CMTimeRange>& range, AVRational clock) {
    if (!range) return {};
    return {ticksAt(range->start, clock), ticksAt(range->end, clock)};
}

KeyPictures KeyPictures::around(const InputMovie& source, int track, const CMTimeRange& range) {
    InputMovie input(source.path());
    input.select({track});
    input.seek(range.start.seconds());
    const AVStream& stream = input.stream(track);
    const AVRational clock = OutputMovie::clockFor(stream);
    const TickRange ticks = TickRange::of(range, clock);
    KeyPictures keys;
    keys.reordered = stream.codecpar->video_delay > 0;
    for (;;) {
        OwnedPacket packet = makePacket();
        if (!input.read(*packet) || packet->pts != packet->dts) {
            keys.reordered = keys.reordered || packet->pts != packet->dts;
            return keys;
        }
        const std::int64_t time = av_rescale_q(packet->pts, stream.time_base, clock);
        const bool key = (packet->flags & AV_PKT_FLAG_KEY) != 0;
        if (time >= ticks.end) return keys;
        if (time <= ticks.start) {
            keys.startsOnKey = key;
        } else if (key) {
            keys.next = std::move(packet);
            return keys;
        }
    }
}

}  // namespace lumicrate::media
