// MixedTrack: all sound of a movie as one stereo track.
#pragma once

#include "Linux/Media/Editing/InputMovie.h"
#include "Linux/Media/Editing/ParallelAacEncoder.h"
#include "Linux/Media/Editing/TrackWriter.h"

#include <filesystem>
#include <vector>

namespace lumicrate::media {

/// Decodes the tracks, adds them up where their times say, and codes the sum: AAC, 48000 Hz, 192000 bit/s. It
/// begins at the movie's time zero and ends with the last of them.
///
/// Every track sounds at full gain. Where their sum would clip, and only there, PeakLimiter turns it down.
class MixedTrack final : public TrackWriter {
 public:
    explicit MixedTrack(const InputMovie& source);

    void addTo(OutputMovie& movie) override;
    void write() override;

 private:
    std::filesystem::path source_;
    std::vector<int> tracks_;
    double duration_;
    ParallelAacEncoder encoder_;
    OutputMovie* movie_ = nullptr;
    int number_ = 0;
};

}  // namespace lumicrate::media
