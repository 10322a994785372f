#include "Linux/Media/Editing/Assets.h"

#include "Linux/Media/Editing/InputMovie.h"
#include "Linux/Media/Editing/MixedTrack.h"
#include "Linux/Media/Editing/OutputMovie.h"
#include "Linux/Media/Editing/TrackCopy.h"
#include "Linux/Media/Editing/TrackThreads.h"
#include "Linux/Media/Editing/VideoCut.h"
#include "Linux/Media/MovieFile/AssetSummary.h"
#include "Support/Error.h"

#include <algorithm>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

namespace lumicrate::media {

namespace {

/// The part of the range that there is. Throws when there is none.
std::optional<CMTimeRange> within(const std::optional<CMTimeRange>& range, const InputMovie& movie) {
    if (!range) return std::nullopt;
    if (range->start < CMTime::zero() || !(range->start < range->end) ||
        range->start.seconds() >= movie.duration())
        throw PlatformError(localized("The range lies outside the recording."));
    return range;
}

double lengthOf(const std::optional<CMTimeRange>& range, const InputMovie& movie) {
    if (!range) return movie.duration();
    return std::min(range->end.seconds(), movie.duration()) - range->start.seconds();
}

using TrackWriters = std::vector<std::unique_ptr<TrackWriter>>;

void write(OutputMovie& output, const InputMovie& input, const TrackWriters& tracks) {
    output.describeAs(input);
    std::vector<std::function<void()>> writers;
    for (const auto& track : tracks) {
        track->addTo(output);
        writers.emplace_back([&track] { track->write(); });
    }
    output.setTakesTurns(tracks.size() > 1);
    output.begin();
    writeTogether(output, writers);
    output.finish();
}

/// Where nothing is coded anew, one thread is enough: more would only wait for each other.
std::unique_ptr<TrackWriter> copyOfAll(const InputMovie& input, const std::optional<CMTimeRange>& range) {
    std::vector<int> tracks = input.audioTracks();
    if (const auto video = input.videoTrack()) tracks.insert(tracks.begin(), *video);
    return std::make_unique<CopiedTracks>(input, std::move(tracks), range);
}

std::unique_ptr<TrackWriter> copyOf(const InputMovie& input, int track,
                                    const std::optional<CMTimeRange>& range = std::nullopt) {
    return std::make_unique<CopiedTracks>(input, std::vector{track}, range);
}

}  // namespace

AVAssetSummary Assets::summary(const std::filesystem::path& url) const {
    return summaryOfMovie(url);
}

void Assets::mixAudio(const std::filesystem::path& source, const std::filesystem::path& destination,
                      AVFileType type, const LongWork& work) const {
    const InputMovie input(source, InputMovie::Look::briefly);
    OutputMovie output(destination, type, input.duration(), work);
    TrackWriters tracks;
    if (const auto video = input.videoTrack()) tracks.push_back(copyOf(input, *video));
    tracks.push_back(std::make_unique<MixedTrack>(input));
    write(output, input, tracks);
}

void Assets::exportMovie(const std::filesystem::path& source, const std::filesystem::path& destination,
                         AVFileType type, AVAssetExportPreset preset, std::optional<CMTimeRange> range,
                         const LongWork& work) const {
    const bool copies = !range || preset == AVAssetExportPreset::passthrough;
    const InputMovie input(source, copies ? InputMovie::Look::briefly : InputMovie::Look::closely);
    range = within(range, input);
    OutputMovie output(destination, type, lengthOf(range, input), work);
    TrackWriters tracks;
    if (copies) {
        tracks.push_back(copyOfAll(input, range));
    } else {
        if (const auto video = input.videoTrack())
            tracks.push_back(makeVideoCut(input, *video, preset, *range));
        for (const int track : input.audioTracks())
            tracks.push_back(copyOf(input, track, range));
    }
    write(output, input, tracks);
}

}  // namespace lumicrate::media
