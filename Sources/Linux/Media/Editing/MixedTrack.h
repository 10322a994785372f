// MixedTrack: all sound of a movie as one stereo track.
#pragma once

#include "Linux/Media/AacEncoder.h"
#include "Linux/Media/Editing/Handover.h"
#include "Linux/Media/Editing/OutputMovie.h"

#include <filesystem>
#include <vector>

namespace lumicrate::media {

/// Decodes the tracks, adds them up where their times say, and codes the sum: AAC, 48000 Hz, 192000 bit/s. It
/// begins at the movie's time zero and ends with the last of them.
///
/// Every track sounds at full gain. Where their sum would clip, and only there, PeakLimiter turns it down.
class MixedTrack {
 public:
    MixedTrack(const std::filesystem::path& source, const std::vector<int>& tracks);

    /// Adds the track to a movie that has not begun.
    void addTo(OutputMovie& output, double duration);
    /// Writes all of it, and ends the track.
    void write();

 private:
    void mixInto(Handover<std::vector<float>>& pieces) const;

    std::filesystem::path source_;
    std::vector<int> tracks_;
    AacEncoder encoder_;
    OutputMovie* output_ = nullptr;
    int number_ = 0;
};

}  // namespace lumicrate::media
