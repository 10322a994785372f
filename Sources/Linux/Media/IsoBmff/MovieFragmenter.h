// MovieFragmenter: turns the samples of a movie's tracks into fragments, at least two a second.
//
// How long a picture lasts is known only when the next one comes, which on a still screen may take minutes.
// The last picture of a fragment is therefore written with the time that it is known to have lasted, and that
// is mended in the file as time goes on: whoever reads the file before it is complete finds all of the
// recording up to then.
#pragma once

#include "Linux/Media/IsoBmff/Fragment.h"
#include "Linux/Media/IsoBmff/MovieDescription.h"
#include "Linux/Media/IsoBmff/MovieHead.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <vector>

namespace lumicrate::isobmff {

/// Bytes for the file, and what is true of the file's samples as soon as they are written.
struct MediaWrite {
    /// Samples of a track that follow one another from `offset` on, the first presented at `time`.
    struct Run {
        std::size_t track = 0;
        std::uint64_t offset = 0;
        std::int64_t time = 0;
        std::vector<Sample> samples;
    };
    /// The track's sample that is presented at `time` and is its last so far lasts so long.
    struct LastDuration {
        std::size_t track = 0;
        std::int64_t time = 0;
        std::uint32_t duration = 0;
    };

    Placed bytes;
    std::vector<Run> runs;
    std::optional<LastDuration> lastDuration;
};

/// Not thread-safe; pure.
class MovieFragmenter {
 public:
    /// What is to be written, in order.
    using Sink = std::function<void(MediaWrite)>;

    /// The first fragment goes to `mediaStart`.
    MovieFragmenter(const MovieDescription& movie, std::uint64_t mediaStart, Sink sink);

    /// A sample of a track, presented at `time`, in ticks from the movie's beginning; times of a track grow.
    /// `duration` is how long it lasts if it is the track's last.
    void add(std::size_t track, std::span<const std::uint8_t> data, std::int64_t time, std::uint32_t duration,
             bool key);
    /// The movie has come to this second: the last picture lasts at least until then, unless the next sample
    /// proves otherwise.
    void reach(double second);
    /// No more samples come. The last of each track last as long as was said when they were added.
    void finish();

    /// Where the last fragment ends so far.
    std::uint64_t end() const { return end_; }

 private:
    /// A track's samples that wait for the next fragment, and its last one that was written.
    struct Track {
        struct Written {
            std::uint64_t offset = 0;  ///< of its duration in the file
            std::int64_t time = 0;
            std::uint32_t told = 0;      ///< the duration in the file
            std::uint32_t declared = 0;  ///< the duration if it is the last
        };

        std::uint32_t timescale = 1;
        std::uint32_t leadIn = 0;
        TrackRun pending;
        std::int64_t firstTime = 0;  ///< of what waits
        std::int64_t lastTime = 0;
        std::uint32_t declared = 0;  ///< the duration of the last sample that waits
        std::optional<Written> written;

        double seconds(std::int64_t ticks) const {
            return static_cast<double>(ticks) / static_cast<double>(timescale);
        }
    };

    bool isDue() const;
    void flush();
    void settleLast(Track& track) const;
    void tellLast(Track& track, std::int64_t end);

    std::vector<Track> tracks_;
    Sink sink_;
    std::uint64_t end_;
    std::uint32_t sequence_ = 0;
    double reached_ = 0;
};

}  // namespace lumicrate::isobmff
