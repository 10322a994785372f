// SPDX-License-Identifier: GPL-3.0-or-later
// ReencodedTrack: a range of the pictures of any movie, decoded and encoded again.
#pragma once

#include "Linux/Media/Editing/OutputMovie.h"
#include "Platform/AVAsset.h"

#include <cstdint>
#include <deque>
#include <filesystem>
#include <memory>

namespace lumicrate::media {

class PictureShaper;

/// Keeps times, colours, orientation and pixel aspect ratio. The quality is constant, without a bit-rate
/// ceiling, and visually lossless. There are no B-frames, so that players that ignore edit lists show every
/// picture at its time too.
class ReencodedTrack final : public TrackWriter {
 public:
    /// `source` must outlive it.
    ReencodedTrack(const InputMovie& source, int track, AVCodecID codec, CMTimeRange range);
    ~ReencodedTrack() override;
    void addTo(OutputMovie& movie) override;
    void write() override;

 private:
    void open(const AVStream& stream);
    void encode(const AVFrame* frame);

    const InputMovie& source_;
    std::filesystem::path path_;
    int track_;
    AVCodecID codec_;
    CMTimeRange range_;
    AVRational clock_{1, 1};
    OwnedCodec encoder_;
    std::unique_ptr<PictureShaper> shaper_;
    OwnedPacket packet_;
    std::deque<std::int64_t> durations_;  ///< of the pictures in the encoder
    OutputMovie* movie_ = nullptr;
    int to_ = 0;
};

}  // namespace lumicrate::media
