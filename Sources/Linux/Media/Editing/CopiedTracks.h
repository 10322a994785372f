// SPDX-License-Identifier: GPL-3.0-or-later
// CopiedTracks: packets of tracks, copied into another movie without decoding.
#pragma once

#include "Linux/Media/Editing/InputMovie.h"
#include "Linux/Media/Editing/OutputMovie.h"
#include "Platform/AVAsset.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace lumicrate::media {

/// A track of an input and the corresponding track of an output.
struct TrackPair {
    int from = 0;
    int to = 0;
};

/// Copies what is presented in a range, which starts at time zero of the new movie, or everything without a
/// range. Several tracks are written in the order of the source file, with one thread.
///
/// Pictures are copied from the last key picture before the start, sound from a little before the start; what
/// precedes the start is hidden. For example, with key pictures at 0 and 2 s, a range from 3 to 5 s copies
/// the pictures from 2 s on and hides those before the one shown at 3 s.
///
/// Where no pictures are reordered, the picture shown at the start begins exactly there, however long it was
/// shown before, and each hidden one lasts one tick, so that players that ignore edit lists skip them at
/// once. The last packet lasts until the end of the range.
class CopiedTracks final : public TrackWriter {
 public:
    /// `source` must outlive `addTo`.
    CopiedTracks(const InputMovie& source, std::vector<int> tracks, std::optional<CMTimeRange> range);
    /// Gives the tracks this name, and puts them aside as OutputMovie::setAside does.
    void setAside(const std::string& title) { asideTitle_ = title; }
    void addTo(OutputMovie& movie) override;
    void write() override;

 private:
    const InputMovie& source_;
    std::filesystem::path path_;
    std::vector<int> tracks_;
    std::vector<TrackPair> pairs_;
    std::optional<CMTimeRange> range_;
    std::optional<std::string> asideTitle_;
    OutputMovie* movie_ = nullptr;
};

/// Copies one track in the same way, but from the first key picture after the start on, and ends it.
void copyFromNextKey(const std::filesystem::path& source, TrackPair track, const CMTimeRange& range,
                     OutputMovie& output);

}  // namespace lumicrate::media
