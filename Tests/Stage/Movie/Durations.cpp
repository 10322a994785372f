#include "Tests/Stage/Movie/Durations.h"

#include <algorithm>
#include <cmath>

namespace lumicrate::stage {

namespace {

double seconds(double ticks, std::uint32_t timescale) {
    return timescale != 0 ? ticks / timescale : 0;
}

std::uint64_t sumOf(const std::vector<Edit>& edits) {
    std::uint64_t sum = 0;
    for (const Edit& edit : edits) {
        sum += edit.duration;
    }
    return sum;
}

// Where the sample that is presented last ends, in ticks.
std::int64_t endOfMedia(const TrackFacts& track) {
    std::int64_t end = 0;
    for (const MovieSample& sample : track.samples) {
        end = std::max(end, sample.mediaTime + sample.reorder + sample.duration);
    }
    return end;
}

void examineEditDurations(const TrackFacts& track, const MovieFacts& movie, double tolerance,
                          Faults& faults) {
    faults.require(sumOf(track.edits) == track.trackDuration, *track.trak,
                   "lasts " + std::to_string(track.trackDuration) + " ticks, but its edits " +
                       std::to_string(sumOf(track.edits)));
    const double media = seconds(static_cast<double>(endOfMedia(track)), track.timescale);
    for (const Edit& edit : track.edits) {
        if (edit.isEmpty()) continue;
        const double begin = seconds(static_cast<double>(edit.mediaTime), track.timescale);
        const double end = begin + seconds(static_cast<double>(edit.duration), movie.timescale);
        faults.require(end <= media + tolerance, *track.trak,
                       "has an edit that goes on after the media's end");
    }
}

// Durations of whole files: all of them are known.
void examineTrackDuration(const TrackFacts& track, const MovieFacts& movie, Faults& faults) {
    if (track.timescale == 0 || movie.timescale == 0) return;
    // Each of two clocks may have been rounded.
    const double tolerance = 1.0 / movie.timescale + 1.0 / track.timescale;
    if (!track.edits.empty()) {
        examineEditDurations(track, movie, tolerance, faults);
        return;
    }
    const double told = seconds(static_cast<double>(track.trackDuration), movie.timescale);
    const double media = seconds(static_cast<double>(track.mediaDuration), track.timescale);
    faults.require(std::abs(told - media) <= tolerance, *track.trak,
                   "lasts " + std::to_string(told) + " s, but its media " + std::to_string(media) + " s");
}

void examineFragmentedEdits(const TrackFacts& track, Faults& faults) {
    for (const Edit& edit : track.edits) {
        if (edit.isEmpty() || track.samples.empty()) continue;
        faults.require(static_cast<std::uint64_t>(edit.mediaTime) <= track.nextTime, *track.trak,
                       "has an edit that begins after the media's end");
    }
}

// Ticks of the track before the edit that is shown, and seconds before it is.
struct Shift {
    std::int64_t ticks = 0;
    double seconds = 0;
};

Shift shiftOf(const TrackFacts& track, const MovieFacts& movie) {
    Shift shift;
    for (const Edit& edit : track.edits) {
        if (!edit.isEmpty()) {
            shift.ticks = edit.mediaTime;
            break;
        }
        shift.seconds += seconds(static_cast<double>(edit.duration), movie.timescale);
    }
    return shift;
}

}  // namespace

void examineDurations(const Box& moov, const MovieFacts& movie, const std::vector<TrackFacts>& tracks,
                      bool isFragmented, Faults& faults) {
    std::uint64_t longest = 0;
    for (const TrackFacts& track : tracks) {
        longest = std::max(longest, track.trackDuration);
        if (isFragmented) {
            examineFragmentedEdits(track, faults);
        } else {
            examineTrackDuration(track, movie, faults);
        }
    }
    faults.require(movie.duration == longest, moov,
                   "lasts " + std::to_string(movie.duration) + " ticks, but its longest track " +
                       std::to_string(longest));
}

MovieTrack presented(const TrackFacts& track, const MovieFacts& movie) {
    MovieTrack result;
    result.id = track.id;
    result.handler = track.handler;
    result.name = track.name;
    result.timescale = track.timescale;
    result.samples = track.samples;
    const Shift shift = shiftOf(track, movie);
    double end = 0;
    for (MovieSample& sample : result.samples) {
        const auto ticks = static_cast<double>(sample.mediaTime + sample.reorder - shift.ticks);
        sample.time = shift.seconds + seconds(ticks, track.timescale);
        end = std::max(end, sample.time + seconds(sample.duration, track.timescale));
        result.mediaDuration += sample.duration;
    }
    std::stable_sort(result.samples.begin(), result.samples.end(),
                     [](const MovieSample& one, const MovieSample& other) { return one.time < other.time; });
    // Of what is being recorded, the end is not told anywhere.
    const double told = seconds(static_cast<double>(track.trackDuration), movie.timescale);
    result.presentedDuration = told > 0 ? told : end;
    return result;
}

}  // namespace lumicrate::stage
