// SPDX-License-Identifier: GPL-3.0-or-later
// OutputMovie: a new movie file, written packet by packet; TrackWriter: the source of the packets of its
// tracks.
#pragma once

#include "Linux/Media/Editing/AvioFile.h"
#include "Linux/Media/Editing/InputData.h"
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

/// Usage: add tracks, `begin`, write any number of packets, `end` each track, `finish`. Without `finish` the
/// file is deleted. The index is at the front, in space that is reserved for it. Packets at negative times
/// are in the file but hidden by an edit list; a track that begins late has an empty edit.
///
/// Each track may be written on a thread of its own: a thread that is more than half a second of the movie
/// ahead of the others waits. Everything throws PlatformError.
class OutputMovie {
 public:
    /// Creates the file; fails when the name exists. `work` learns how much of `duration`, in seconds, all
    /// tracks have reached.
    OutputMovie(const std::filesystem::path& path, AVFileType type, double duration, LongWork work);
    ~OutputMovie();
    OutputMovie(const OutputMovie&) = delete;
    OutputMovie& operator=(const OutputMovie&) = delete;

    /// Copies the metadata of the file, such as its creation time.
    void copyMetadata(const InputMovie& source);
    /// A copy of a track of `source`, of at most `packets` packets. Returns its number in this movie.
    int addCopy(const InputMovie& source, int track, std::int64_t packets);
    /// The pictures of a track of `source`, encoded again, with `parameters` and the clock `clockFor`.
    int addReencoded(const InputMovie& source, int track, const AVCodecParameters& parameters,
                     std::int64_t packets);
    /// A new track of AAC sound, whose clock counts its frames. Players may choose it by themselves.
    int addSound(const isobmff::AudioDescription& sound, const std::string& title, std::int64_t packets);
    /// Input that the file shall contain; before begin(). Nothing for none.
    void setRecordedInput(const std::vector<RecordedInput>& input) { input_ = InputSamples::of(input); }
    /// Names a track, and says that players should not choose it by themselves. Before `begin`.
    void setAside(int track, const std::string& title);
    /// Whether threads that are ahead wait for the others. Must be off when one thread writes all tracks.
    void setTakesTurns(bool takesTurns) { takesTurns_ = takesTurns; }
    void begin();

    /// The clock of a copy of a video track: that of `source`, multiplied to at least 90 kHz so that a cut
    /// can be at any instant. For example 1 ⁄ 600 s becomes 1 ⁄ 90000 s.
    static AVRational clockFor(const AVStream& source);
    /// The clock of a track; valid after `begin`.
    AVRational timeBase(int track) const { return context_->streams[track]->time_base; }
    /// Takes the packet's data. Its times count ticks of the track's clock. Decoding times increase; a packet
    /// lasts until the next one, the last one for its duration. Throws CancelledError after `abandon` or when
    /// the work is cancelled.
    void write(int track, AVPacket& packet);
    /// No more packets of the track follow. Its presentation ends at `last` at the latest, in ticks. Throws
    /// CancelledError when the work is cancelled.
    void end(int track, std::int64_t last = std::numeric_limits<std::int64_t>::max());
    /// For writers that decode for a long time without writing. Any thread. Throws CancelledError after
    /// `abandon` or when the work is cancelled.
    void checkCancelled();
    /// Makes all writers fail. Any thread.
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
        bool waits = false;  ///< until the others have reached the same time
    };

    AVStream& addStream(std::int64_t packets);
    static void setTitle(AVStream& track, const std::string& title);
    AVStream& addStreamLike(const InputMovie& source, int track, const AVCodecParameters& parameters,
                            std::int64_t packets);
    void reportProgress();
    bool mayWrite(Track& track);
    std::int64_t indexSpace() const;
    void completeIndex();

    AvioFile file_;
    AVFileType type_;
    InputSamples input_;
    std::unique_ptr<AVFormatContext, Free> context_;
    std::mutex mutex_;
    std::condition_variable turn_;
    std::vector<Track> tracks_;
    bool abandoned_ = false;
    bool takesTurns_ = true;
    double duration_;
    double reported_ = 0;  ///< part of the duration
    LongWork work_;
};

/// Writes one or more tracks of a new movie.
class TrackWriter {
 public:
    virtual ~TrackWriter() = default;
    /// Called before the movie begins. `movie` must outlive `write`. Throws PlatformError.
    virtual void addTo(OutputMovie& movie) = 0;
    /// Called after it has begun, on any one thread: writes all packets and ends the tracks. Throws
    /// PlatformError, and CancelledError as OutputMovie::write does.
    virtual void write() = 0;
};

}  // namespace lumicrate::media
