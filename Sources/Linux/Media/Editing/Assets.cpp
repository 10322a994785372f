// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Editing/Assets.h"

#include "Linux/Media/Editing/CleanedTrack.h"
#include "Linux/Media/Editing/CopiedTracks.h"
#include "Linux/Media/Editing/InputData.h"
#include "Linux/Media/Editing/InputMovie.h"
#include "Linux/Media/Editing/Loudness.h"
#include "Linux/Media/Editing/MixedTrack.h"
#include "Linux/Media/Editing/OutputMovie.h"
#include "Linux/Media/Editing/PictureTimes.h"
#include "Linux/Media/Editing/ReencodedTrack.h"
#include "Linux/Media/Editing/SoundTracks.h"
#include "Linux/Media/Editing/StitchedTrack.h"
#include "Linux/Media/Editing/TrackWriters.h"
#include "Linux/Media/Editing/VoiceGain.h"
#include "Linux/Media/Sound/TrackNames.h"
#include "Support/Error.h"
#include "Support/Log.h"

#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

namespace lumicrate::media {

namespace {

/// Throws when the range does not begin within the movie.
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

/// One writer for all tracks: with copies only, more threads would just wait for each other.
std::unique_ptr<TrackWriter> copyOfAll(const InputMovie& input, const std::optional<CMTimeRange>& range) {
    std::vector<int> tracks = input.audioTracks();
    if (const auto video = input.videoTrack()) tracks.insert(tracks.begin(), *video);
    return std::make_unique<CopiedTracks>(input, std::move(tracks), range);
}

std::unique_ptr<TrackWriter> copyOf(const InputMovie& input, int track,
                                    const std::optional<CMTimeRange>& range = std::nullopt) {
    return std::make_unique<CopiedTracks>(input, std::vector{track}, range);
}

/// The key pictures around the start of a range.
struct KeyPictures {
    /// Pictures are decoded in another order than they are shown. Then the other members mean nothing.
    bool reordered = false;
    /// The picture shown at the start is a key picture, or no picture precedes the start.
    bool startsOnKey = true;
    /// The first key picture after the start and within the range; null when there is none.
    OwnedPacket next;

    /// Reads the track up to the next key picture. Throws PlatformError.
    static KeyPictures around(const InputMovie& source, int track, const CMTimeRange& range);
};

KeyPictures KeyPictures::around(const InputMovie& source, int track, const CMTimeRange& range) {
    InputMovie input(source.path());
    input.select({track});
    input.seek(range.start.seconds());
    const AVStream& stream = input.stream(track);
    const AVRational clock = OutputMovie::clockFor(stream);
    const TickRange ticks = TickRange::of(range, clock);
    KeyPictures keys;
    keys.reordered = stream.codecpar->video_delay > 0;
    for (;;) {
        OwnedPacket packet = makePacket();
        if (!input.read(*packet) || packet->pts != packet->dts) {
            keys.reordered = keys.reordered || packet->pts != packet->dts;
            return keys;
        }
        const std::int64_t time = av_rescale_q(packet->pts, stream.time_base, clock);
        const bool key = (packet->flags & AV_PKT_FLAG_KEY) != 0;
        if (time >= ticks.end) return keys;
        if (time <= ticks.start) {
            keys.startsOnKey = key;
        } else if (key) {
            keys.next = std::move(packet);
            return keys;
        }
    }
}

/// The pictures of a range, with the least work that begins exactly at the start.
std::unique_ptr<TrackWriter> preciseCut(const InputMovie& source, int track, AVAssetExportPreset preset,
                                        const CMTimeRange& range) {
    const AVCodecID codec =
        preset == AVAssetExportPreset::hevcHighestQuality ? AV_CODEC_ID_HEVC : AV_CODEC_ID_H264;
    const KeyPictures keys = KeyPictures::around(source, track, range);
    if (!keys.reordered && source.stream(track).codecpar->codec_id == codec) {
        if (keys.startsOnKey) {
            log(LogArea::movie, "trim: the range starts on a key picture; copying");
            return copyOf(source, track, range);
        }
        if (auto stitched = StitchedTrack::make(source, track, range, keys.next.get())) {
            log(LogArea::movie, "trim: encoding up to the next key picture; copying the rest");
            return stitched;
        }
    }
    log(LogArea::movie, "trim: not encoded by the recorder; encoding the whole range");
    return std::make_unique<ReencodedTrack>(source, track, codec, range);
}

}  // namespace

std::vector<CMTime> Assets::pictureTimes(const std::filesystem::path& url) const {
    return pictureTimesOf(url);
}

std::vector<float> Assets::loudness(const std::filesystem::path& url, std::size_t parts,
                                    const LongWork& work) const {
    return loudnessOf(url, parts, work);
}

std::vector<RecordedInput> Assets::recordedInput(const std::filesystem::path& url) const {
    return recordedInputOf(url);
}

void Assets::mixAudio(const std::filesystem::path& source, const std::filesystem::path& destination,
                      AVFileType type, const LongWork& work) const {
    const InputMovie input(source, InputMovie::Look::atHead);
    OutputMovie output(destination, type, input.duration(), work);
    log(LogArea::movie, "mix: ", input.audioTracks().size(), " tracks of ", input.duration(), " s");
    TrackWriters tracks;
    if (const auto video = input.videoTrack()) tracks.push_back(copyOf(input, *video));
    const std::vector<int> heard = heardTracks(input);
    if (heard.size() == 1) {
        tracks.push_back(copyOf(input, heard.front()));
    } else {
        tracks.push_back(std::make_unique<MixedTrack>(input));
    }
    output.setRecordedInput(recordedInputOf(source));
    writeMovie(output, input, tracks);
}

AVVoice Assets::voice(const std::filesystem::path& url) const {
    const InputMovie movie(url, InputMovie::Look::atHead);
    if (hasCleanVoice(movie)) return AVVoice::clean;
    return voiceTrack(movie) ? AVVoice::asRecorded : AVVoice::none;
}

void Assets::cleanVoice(const std::filesystem::path& source, const std::filesystem::path& destination,
                        AVFileType type, bool normalizes, const LongWork& work) const {
    const InputMovie input(source, InputMovie::Look::atHead);
    const auto track = voiceTrack(input);
    if (!track) throw PlatformError(localized("The recording has no microphone track."));
    const VoiceInput voice(input, *track);
    log(LogArea::movie, "clean voice: ", voice.channels, " channels of ", voice.duration, " s");
    constexpr double measured = 0.6;  // of the time
    OutputMovie output(destination, type, input.duration(), work.part(normalizes ? measured : 0, 1));
    const auto gain = normalizes ? gainOfVoice(voice, work.part(0, measured)) : std::nullopt;
    TrackWriters tracks;
    if (const auto video = input.videoTrack()) tracks.push_back(copyOf(input, *video));
    for (const int other : input.audioTracks()) {
        if (other != *track) tracks.push_back(copyOf(input, other));
    }
    tracks.push_back(std::make_unique<CleanedTrack>(voice, gain));
    // Last, because many players choose the first one whatever the file says.
    auto original = std::make_unique<CopiedTracks>(input, std::vector{*track}, std::nullopt);
    original->setAside(trackname::originalMicrophone);
    tracks.push_back(std::move(original));
    output.setRecordedInput(recordedInputOf(source));
    writeMovie(output, input, tracks);
}

void Assets::exportMovie(const std::filesystem::path& source, const std::filesystem::path& destination,
                         AVFileType type, AVAssetExportPreset preset, std::optional<CMTimeRange> range,
                         const LongWork& work) const {
    const bool copies = !range || preset == AVAssetExportPreset::passthrough;
    const InputMovie input(source, copies ? InputMovie::Look::atHead : InputMovie::Look::atMedia);
    range = within(range, input);
    OutputMovie output(destination, type, lengthOf(range, input), work);
    TrackWriters tracks;
    if (copies) {
        log(LogArea::movie, range ? "trim: copying packets" : "convert: copying packets");
        tracks.push_back(copyOfAll(input, range));
    } else {
        if (const auto video = input.videoTrack())
            tracks.push_back(preciseCut(input, *video, preset, *range));
        for (const int track : input.audioTracks())
            tracks.push_back(copyOf(input, track, range));
    }
    output.setRecordedInput(inputIn(range, recordedInputOf(source)));
    writeMovie(output, input, tracks);
}

void Assets::copyWithoutInput(const std::filesystem::path& source, const std::filesystem::path& destination,
                              AVFileType type, const LongWork& work) const {
    const InputMovie input(source, InputMovie::Look::atHead);
    OutputMovie output(destination, type, input.duration(), work);
    TrackWriters tracks;
    tracks.push_back(copyOfAll(input, std::nullopt));
    writeMovie(output, input, tracks);
}

}  // namespace lumicrate::media
