// SPDX-License-Identifier: GPL-3.0-or-later
// StitchedTrack: a range of a recording's pictures that starts between two key pictures: a re-encoded head,
// then copies.
#pragma once

#include "Linux/Media/Editing/OutputMovie.h"
#include "Linux/Media/Encoding/VideoEncoder.h"
#include "Platform/AVAsset.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>

namespace lumicrate::media {

/// For pictures that the recorder encoded. Those from the start of the range to the next key picture are
/// encoded again, with the settings of the recording, so that both parts share its parameter sets. The rest
/// is copied.
class StitchedTrack final : public TrackWriter {
 public:
    /// `nextKey` is the first key picture after the start, null when there is none within the range. `source`
    /// must outlive the writer. Returns null when no encoder of the recorder matches the pictures.
    static std::unique_ptr<StitchedTrack> make(const InputMovie& source, int track, CMTimeRange range,
                                               const AVPacket* nextKey);

    void addTo(OutputMovie& movie) override;
    void write() override;

 private:
    StitchedTrack(const InputMovie& source, int track, CMTimeRange range,
                  std::unique_ptr<VideoEncoder> encoder, std::optional<int> nextIdrId);

    void writeHead();

    const InputMovie& source_;
    std::filesystem::path path_;
    int track_;
    CMTimeRange range_;
    std::unique_ptr<VideoEncoder> encoder_;
    /// The idr_pic_id of the first copied picture. The first encoded picture must have another.
    std::optional<int> nextIdrId_;
    OutputMovie* movie_ = nullptr;
    int to_ = 0;
};

}  // namespace lumicrate::media
