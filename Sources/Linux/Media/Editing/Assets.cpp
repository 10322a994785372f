#include "Linux/Media/Editing/Assets.h"

#include "Linux/Media/AssetSummary.h"
#include "Linux/Media/Editing/InputMovie.h"
#include "Linux/Media/Editing/MixedTrack.h"
#include "Linux/Media/Editing/OutputMovie.h"
#include "Linux/Media/Editing/TrackCopy.h"
#include "Linux/Media/Editing/TrackThreads.h"
#include "Support/Error.h"

#include <algorithm>
#include <functional>
#include <vector>

namespace lumicrate::media {

namespace {

/// All that is copied of a movie: its pictures and its sound.
std::vector<int> mediaTracks(const InputMovie& movie) {
    std::vector<int> tracks = movie.audioTracks();
    if (const auto video = movie.videoTrack()) tracks.insert(tracks.begin(), *video);
    return tracks;
}

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

}  // namespace

AVAssetSummary Assets::summary(const std::filesystem::path& url) const {
    return summaryOfMovie(url);
}

void Assets::mixAudio(const std::filesystem::path& source, const std::filesystem::path& destination,
                      AVFileType type, const LongWork& work) const {
    const InputMovie input(source);
    OutputMovie output(destination, type, input.duration(), work);
    output.describeAs(input);
    std::vector<std::function<void()>> writers;
    if (const auto video = input.videoTrack()) {
        const TrackPair pair{*video, output.addCopy(input, *video, input.packetCount(*video))};
        writers.emplace_back([&source, &output, pair] { copyTrack(source, pair, std::nullopt, output); });
    }
    MixedTrack mixed(source, input.audioTracks());
    mixed.addTo(output, input.duration());
    writers.emplace_back([&mixed] { mixed.write(); });
    output.begin();
    writeTogether(output, writers);
    output.finish();
}

void Assets::exportMovie(const std::filesystem::path& source, const std::filesystem::path& destination,
                         AVFileType type, AVAssetExportPreset /*preset*/, std::optional<CMTimeRange> range,
                         const LongWork& work) const {
    const InputMovie input(source);
    range = within(range, input);
    OutputMovie output(destination, type, lengthOf(range, input), work);
    output.describeAs(input);
    std::vector<std::function<void()>> writers;
    for (const int track : mediaTracks(input)) {
        const TrackPair pair{track, output.addCopy(input, track, input.packetCount(track))};
        writers.emplace_back([&source, &output, pair, range] { copyTrack(source, pair, range, output); });
    }
    output.begin();
    writeTogether(output, writers);
    output.finish();
}

}  // namespace lumicrate::media
