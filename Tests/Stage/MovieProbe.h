// MovieProbe: what another program finds in a movie file: its tracks, its pictures and its sound as they are
// presented.
//
// Everything is read with FFmpeg's libraries, edit lists and codec delays applied, so that times are those a
// player shows. Every reading starts from the file's beginning. Throws std::runtime_error when the file
// cannot be read.
#pragma once

#include "Tests/Stage/Picture.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

struct AVFormatContext;

namespace lumicrate::stage {

struct Track {
    enum class Kind { Video, Audio, Other };

    int index = 0;
    Kind kind = Kind::Other;
    std::string codec;     // FFmpeg's name: "h264", "hevc", "aac", "gif" …
    std::string codecTag;  // the sample entry: "avc1", "hvc1", "mp4a"
    std::string profile;   // "High", "Main", "LC" …; empty when unknown
    int width = 0;
    int height = 0;
    std::string pixelFormat;     // "yuv420p"
    std::string colorPrimaries;  // "bt709", or "unknown"
    std::string colorTransfer;
    std::string colorMatrix;
    std::string colorRange;  // "tv", "pc" or "unknown"
    int sampleRate = 0;
    int channels = 0;
    std::int64_t bitRate = 0;  // bits a second over the track; 0 when unknown
    std::string name;          // the track's title when it has one
    std::string handler;       // the handler's name
    std::string language;
    bool isEnabled = false;  // played by default
    double startTime = 0;    // seconds, of the first thing presented
    double duration = 0;     // seconds
    std::int64_t sampleCount = 0;
    double averageFrameRate = 0;
};

// One coded sample, in file order. Times in seconds on the presentation's time line.
struct Packet {
    double pts = 0;
    double dts = 0;
    double duration = 0;
    int size = 0;
    bool isKey = false;
    bool isDiscarded = false;  // decoded but not shown, because an edit list leaves it out
};

struct Sound {
    int sampleRate = 0;
    double startTime = 0;                     // of sample 0, in seconds
    std::vector<std::vector<float>> samples;  // one vector a channel, −1 … 1
    // Places where the next samples did not follow on; holes are filled with silence so that time = startTime
    // + i / rate.
    int discontinuities = 0;

    double timeAt(std::size_t sample) const { return startTime + static_cast<double>(sample) / sampleRate; }
    double duration() const {
        return samples.empty() ? 0 : static_cast<double>(samples[0].size()) / sampleRate;
    }
};

class MovieProbe {
 public:
    explicit MovieProbe(const std::filesystem::path& file);
    MovieProbe(const MovieProbe&) = delete;
    MovieProbe& operator=(const MovieProbe&) = delete;
    ~MovieProbe();

    const std::vector<Track>& tracks() const { return tracks_; }
    // The n-th track of a kind; throws when there are not as many.
    const Track& videoTrack(std::size_t n = 0) const { return trackOf(Track::Kind::Video, n); }
    const Track& audioTrack(std::size_t n = 0) const { return trackOf(Track::Kind::Audio, n); }
    std::size_t count(Track::Kind kind) const;
    // Seconds, of the whole file.
    double duration() const;
    // FFmpeg's list of names for the container ("mov,mp4,m4a,3gp,3g2,mj2").
    std::string container() const;
    // A tag of the file itself, such as "major_brand", "title" or "creation_time".
    std::optional<std::string> tag(const std::string& name) const;

    // Whether the index stands before the media, so that playing can start before the whole file is there.
    bool indexInFront() const;
    // The top-level boxes' types in file order.
    std::vector<std::string> boxes() const;

    // Decodes the first video track and hands over each picture shown, in order; the visitor returns false to
    // stop. Gives the number of pictures handed over. A picture is only valid during the call: copy what
    // shall stay.
    std::size_t visitPictures(const std::function<bool(const Picture&)>& visitor);
    // The presentation times of all pictures, in seconds, by decoding them.
    std::vector<double> pictureTimes();
    // The picture shown at a time: the last one that does not come after it (within half a millisecond).
    OwnedPicture pictureAt(double seconds);
    OwnedPicture lastPicture();

    // Decodes the n-th audio track wholly.
    Sound sound(std::size_t n = 0);

    std::vector<Packet> packets(int trackIndex);

 private:
    struct CloseFormat {
        void operator()(AVFormatContext* context) const;
    };
    using Format = std::unique_ptr<AVFormatContext, CloseFormat>;

    Format open() const;
    const Track& trackOf(Track::Kind kind, std::size_t n) const;

    std::filesystem::path file_;
    Format format_;
    std::vector<Track> tracks_;
};

}  // namespace lumicrate::stage
