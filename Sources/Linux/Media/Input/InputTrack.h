// SPDX-License-Identifier: GPL-3.0-or-later
// InputTrack: writes recorded input into a metadata track of a movie.
#pragma once

#include "Linux/Media/Encoding/TrackEncoder.h"

#include <cstdint>
#include <optional>

namespace lumicrate::media {

/// Without influence on the movie's beginning and end. Of two samples in the same tick the later one comes a
/// tick later.
class InputTrack final : public TrackEncoder {
 public:
    void open(MovieDestination& movie) override;
    void encode(const CMSampleBuffer& sample, CMTime sessionStart) override;
    std::optional<std::chrono::milliseconds> idleTimeout() const override { return std::nullopt; }
    void handleIdle() override {}
    void finish(CMTime /*sessionStart*/, std::optional<MovieEnd> /*end*/) override {}
    std::optional<CMTime> decidedEnd() const override { return std::nullopt; }
    double roomFor(const CMSampleBuffer& sample) const override;
    bool isHeldUp() const override;

 private:
    MovieDestination* movie_ = nullptr;
    int track_ = 0;
    std::optional<std::int64_t> lastTime_;  ///< ticks
};

}  // namespace lumicrate::media
