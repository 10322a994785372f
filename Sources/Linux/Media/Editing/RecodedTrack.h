// RecodedTrack: pictures of any making, coded anew.
#pragma once

#include "Linux/Media/Editing/PictureShaper.h"
#include "Linux/Media/Editing/TrackWriter.h"
#include "Platform/AVAsset.h"

#include <cstdint>
#include <deque>
#include <filesystem>
#include <memory>

namespace lumicrate::media {

/// Keeps times, colours, direction and the shape of the pixels. Nobody is to see a difference: constant
/// quality, without a ceiling. No picture is coded out of order, so that each is shown when its turn comes,
/// also by players that know nothing of edit lists.
class RecodedTrack final : public TrackWriter {
 public:
    /// `source` must outlive it.
    RecodedTrack(const InputMovie& source, int track, AVCodecID codec, CMTimeRange range);
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
