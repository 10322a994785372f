// SPDX-License-Identifier: GPL-3.0-or-later
// ZoomedTrack: the pictures of a movie, or enlarged parts of them, encoded again.
#pragma once

#include "Linux/Media/Editing/OutputMovie.h"
#include "Linux/Media/Editing/PictureEncoder.h"
#include "Linux/Media/Editing/PictureZoom.h"
#include "Platform/AVVideoComposition.h"

#include <cstdint>
#include <optional>

namespace lumicrate::media {

struct ShownPicture;

/// Every picture keeps its time. Where one is shown for long and the view moves, it is repeated with each new
/// view, at the rate of the movie, but at least 30 and at most 60 times a second.
class ZoomedTrack final : public TrackWriter {
 public:
    /// `source` must outlive it.
    ZoomedTrack(const InputMovie& source, int track, AVVideoView view);
    void addTo(OutputMovie& movie) override;
    void write() override;

 private:
    ZoomedTrack(const InputMovie& source, int track, AVVideoView view, int rate);

    Rect viewAt(std::int64_t time) const;
    std::int64_t changesOfView() const;
    std::optional<std::int64_t> nextChange(std::int64_t after, std::int64_t end) const;
    void encode(AVFrame& picture, std::int64_t time, std::int64_t end);

    const InputMovie& source_;
    int track_;
    AVVideoView view_;
    PictureEncoder encoder_;
    PictureZoom zoom_;
    std::int64_t interval_;  ///< of repeated pictures, ticks
    OutputMovie* movie_ = nullptr;
};

}  // namespace lumicrate::media
