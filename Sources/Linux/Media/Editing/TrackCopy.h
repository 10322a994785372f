// TrackCopy: the packets of one track, as they are, into another movie.
#pragma once

#include "Linux/Media/Editing/InputMovie.h"
#include "Linux/Media/Editing/OutputMovie.h"
#include "Linux/Media/Editing/TrackWriter.h"
#include "Platform/AVAsset.h"

#include <filesystem>
#include <optional>
#include <vector>

namespace lumicrate::media {

/// A track of an input and of an output.
struct TrackPair {
    int from = 0;
    int to = 0;
};

/// Copies what is presented in `range`, which begins at the new movie's time zero, or all without one, and
/// ends the tracks. More than one are written in the order in which they lie in the source, for which the
/// movie must not have its tracks take turns.
///
/// Pictures are copied from the key picture before the start, sound from a little before it; what lies before
/// the start is hidden. Where pictures come in the order in which they are decoded, the one that is shown at
/// the start begins exactly there, however long it has been shown before, and the hidden ones last a tick
/// each, so that a player that shows them all the same is through with them at once. The last packet lasts
/// until the end of the range.
void copyTracks(const std::filesystem::path& source, const std::vector<TrackPair>& tracks,
                const std::optional<CMTimeRange>& range, OutputMovie& output);

/// The same of one track from the first key picture after the start on.
void copyFromNextKey(const std::filesystem::path& source, TrackPair track, const CMTimeRange& range,
                     OutputMovie& output);

/// Some tracks, or one.
class CopiedTracks final : public TrackWriter {
 public:
    /// `source` must outlive `addTo`.
    CopiedTracks(const InputMovie& source, std::vector<int> tracks, std::optional<CMTimeRange> range);
    void addTo(OutputMovie& movie) override;
    void write() override { copyTracks(path_, pairs_, range_, *movie_); }

 private:
    const InputMovie& source_;
    std::filesystem::path path_;
    std::vector<int> tracks_;
    std::vector<TrackPair> pairs_;
    std::optional<CMTimeRange> range_;
    OutputMovie* movie_ = nullptr;
};

}  // namespace lumicrate::media
