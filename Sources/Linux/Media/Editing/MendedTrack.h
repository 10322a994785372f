// MendedTrack: pictures of our own making, cut in the middle of a group.
#pragma once

#include "Linux/Media/Editing/TrackWriter.h"
#include "Linux/Media/Encoding/VideoEncoder.h"
#include "Platform/AVAsset.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <vector>

namespace lumicrate::media {

/// From the range's start to the next key picture they are coded anew, with the settings of the whole, and
/// from there on copied.
class MendedTrack final : public TrackWriter {
 public:
    /// `nextKey` is the first key picture after the start, if there is one within the range. Nothing where it
    /// cannot be done: the pictures in `source`, which must outlive the writer, were not coded with the
    /// settings of an encoder of ours.
    static std::unique_ptr<MendedTrack> make(const InputMovie& source, int track, CMTimeRange range,
                                             const AVPacket* nextKey);

    void addTo(OutputMovie& movie) override;
    void write() override;

 private:
    MendedTrack(const InputMovie& source, int track, CMTimeRange range, std::unique_ptr<VideoEncoder> encoder,
                std::optional<int> nextKey);

    void writeBegin();
    EncodedPicture encode(const CVPixelBuffer& picture, bool key);

    const InputMovie& source_;
    std::filesystem::path path_;
    int track_;
    CMTimeRange range_;
    std::unique_ptr<VideoEncoder> encoder_;
    /// The number of the key picture that copying begins with, which the one before it must not have.
    std::optional<int> nextKey_;
    std::int64_t encoded_ = 0;
    OutputMovie* movie_ = nullptr;
    int to_ = 0;
};

}  // namespace lumicrate::media
