// TickRange: a range of a movie in ticks of a track's clock.
#pragma once

#include "Platform/AVAsset.h"

#include <cstdint>
#include <limits>
#include <optional>

extern "C" {
#include <libavutil/mathematics.h>
}

namespace lumicrate::media {

/// Everything, unless it is told otherwise.
struct TickRange {
    std::int64_t start = 0;
    std::int64_t end = std::numeric_limits<std::int64_t>::max() / 2;  ///< so that differences fit

    static TickRange of(const std::optional<CMTimeRange>& range, AVRational clock) {
        if (!range) return {};
        return {ticksAt(range->start, clock), ticksAt(range->end, clock)};
    }

 private:
    static std::int64_t ticksAt(CMTime time, AVRational clock) {
        return av_rescale_rnd(time.value(), clock.den, time.timescale() * clock.num, AV_ROUND_NEAR_INF);
    }
};

}  // namespace lumicrate::media
