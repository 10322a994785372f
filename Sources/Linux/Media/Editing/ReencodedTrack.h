// SPDX-License-Identifier: GPL-3.0-or-later
// ReencodedTrack: a range of the pictures of any movie, decoded and encoded again.
#pragma once

#include "Linux/Media/Editing/OutputMovie.h"
#include "Linux/Media/Editing/PictureEncoder.h"
#include "Platform/AVAsset.h"

namespace lumicrate::media {

/// Keeps times, colours, orientation and pixel aspect ratio.
class ReencodedTrack final : public TrackWriter {
 public:
    /// `source` must outlive it.
    ReencodedTrack(const InputMovie& source, int track, AVCodecID codec, CMTimeRange range);
    void addTo(OutputMovie& movie) override;
    void write() override;

 private:
    const InputMovie& source_;
    int track_;
    CMTimeRange range_;
    PictureEncoder encoder_;
    OutputMovie* movie_ = nullptr;
};

}  // namespace lumicrate::media
