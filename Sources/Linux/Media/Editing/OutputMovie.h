// OutputMovie: a new movie file of packets that are coded already.
#pragma once

#include "Linux/Media/Editing/AvioFile.h"
#include "Linux/Media/Editing/InputMovie.h"
#include "Linux/Media/IsoBmff/MovieDescription.h"
#include "Platform/AVAssetWriter.h"
#include "Support/LongWork.h"

#include <condition_variable>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace lumicrate::media {

/// Tracks are added, then `begin`, any number of writes, `end` for every track, `finish`. The index stands in
/// front, in room that is kept for it. What lies at negative times is in the file but hidden by an edit list;
/// a track that begins late begins late. Without `finish` the file is deleted.
///
/// Each track may be written from a thread of its own: who is more than half a second ahead of the others
/// waits. Everything throws PlatformError.
class OutputMovie {
 public:
    /// Creates the file; fails when something of this name exists. `work` is told how much of `duration`, in
    /// seconds, every track has reached.
    OutputMovie(const std::filesystem::path& path, AVFileType type, double duration, LongWork work);
    ~OutputMovie();
    OutputMovie(const OutputMovie&) = delete;
    OutputMovie& operator=(const OutputMovie&) = delete;

    /// Says of the file what `source` says of itself.
    void describeAs(const InputMovie& source);
    /// A track as it is in `source`, of at most `packets` packets. Gives its number here.
    int addCopy(const InputMovie& source, int track, std::int64_t packets);
    /// The pictures of a track of `source`, coded anew as `parameters` tell; clockFor is their clock.
    int addRecoded(const InputMovie& source, int track, const AVCodecParameters& parameters,
                   std::int64_t packets);
    /// A track that is made anew.
    int addTrack(const AVCodecParameters& parameters, AVRational timeBase, const std::string& title,
                 std::int64_t packets);
    /// A track of AAC sound, whose clock counts its frames.
    int addSound(const isobmff::AudioDescription& sound, const std::string& title, std::int64_t packets);
    /// Whether who is far ahead waits for the others, which is so unless one thread writes all tracks.
    void setTakesTurns(bool takesTurns) { takesTurns_ = takesTurns; }
    void begin();

    /// The clock that a track of such pictures gets: the one that it had, or one that is finer by a whole
    /// factor, so that any instant can be met.
    static AVRational clockFor(const AVStream& source);
    /// The clock of a track, once the file has begun.
    AVRational timeBase(int track) const { return context_->streams[track]->time_base; }
    /// Takes the packet's data; its times count ticks of the track's clock. Decoding times grow; how long a
    /// track's last packet lasts is its duration. Throws CancelledError once the movie is abandoned.
    void write(int track, AVPacket& packet);
    /// No more packets of the track come. What is presented of it ends at `last`, in ticks of its clock, at
    /// the latest. Throws CancelledError when the work is given up.
    void end(int track, std::int64_t last = std::numeric_limits<std::int64_t>::max());
    /// From any thread, for who has nothing to write for long: throws CancelledError when the movie is
    /// abandoned or the work given up.
    void checkIsWanted();
    /// From any thread: everybody who writes gives up.
    void abandon();
    /// Completes the file.
    void finish();

 private:
    struct Free {
        void operator()(AVFormatContext* context) const { avformat_free_context(context); }
    };
    struct Track {
        std::int64_t packets = 0;
        std::int64_t end = 0;  ///< of what was written, in ticks
        std::int64_t last = std::numeric_limits<std::int64_t>::max();
        double reached = 0;  ///< seconds
        bool ended = false;
        bool resting = false;  ///< until the others have come as far
    };

    AVStream& addStream(std::int64_t packets);
    AVStream& addAs(const InputMovie& source, int track, const AVCodecParameters& parameters,
                    std::int64_t packets);
    void tellProgress();
    bool mayWrite(Track& track);
    std::int64_t roomForIndex() const;
    void endTracks();

    AvioFile file_;
    std::unique_ptr<AVFormatContext, Free> context_;
    std::mutex mutex_;
    std::condition_variable turn_;
    std::vector<Track> tracks_;
    bool abandoned_ = false;
    bool takesTurns_ = true;
    double duration_;
    double told_ = 0;  ///< part of it, to whoever waits
    LongWork work_;
};

}  // namespace lumicrate::media
