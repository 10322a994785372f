// SPDX-License-Identifier: GPL-3.0-or-later
// Finished movie files: their properties, and the files that are made from them.
#pragma once

#include "Platform/AVAssetWriter.h"
#include "Platform/RecordedInput.h"
#include "Support/Geometry.h"
#include "Support/LongWork.h"
#include "Support/MediaTime.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace lumicrate {

/// The properties of a movie, read from its container alone.
struct AVAssetSummary {
    double duration = 0;            ///< presented seconds; 0 if there is no media
    std::optional<Size> videoSize;  ///< pixels, after rotation; none without a video track
    std::string videoSubtype;  ///< four-letter code of the first video track: "avc1", "hvc1" …; or empty
    int audioTracks = 0;
    bool recordedInput = false;  ///< has a track of recorded input

    bool operator==(const AVAssetSummary&) const = default;
};

/// The voice in a movie: the sound of its microphone track, or in the movie of another program of its only
/// sound track.
enum class AVVoice {
    none,
    asRecorded,
    clean,  ///< there is a track with less noise
};

/// From `start` to `end`, in presented time.
struct CMTimeRange {
    CMTime start;
    CMTime end;
};

enum class AVAssetExportPreset {
    passthrough,         ///< nothing is encoded again
    highestQuality,      ///< video is encoded again where necessary, as H.264
    hevcHighestQuality,  ///< the same, as HEVC
};

/// Reads finished movies and creates new ones from them. Each call blocks and may take long; any thread,
/// several calls at once. All throw PlatformError. Calls that create a file throw CancelledError when they
/// are cancelled, require that `destination` does not exist, and leave no file there after a failure. The
/// source is not changed.
class AVAssets {
 public:
    virtual ~AVAssets() = default;

    /// Reads the head of the container only.
    virtual AVAssetSummary summary(const std::filesystem::path& url) const = 0;

    /// When the pictures of the first video track begin, as presented, ascending; empty without one. May read
    /// through the file.
    virtual std::vector<CMTime> pictureTimes(const std::filesystem::path& url) const = 0;

    /// The peak of all sound in each of `parts` equal parts, 0 … 1; empty without sound. Decodes all of it.
    virtual std::vector<float> loudness(const std::filesystem::path& url, std::size_t parts,
                                        const LongWork& work) const = 0;

    /// The input that was recorded with the movie, by increasing time; empty without such a track. Throws
    /// PlatformError.
    virtual std::vector<RecordedInput> recordedInput(const std::filesystem::path& url) const = 0;

    /// What is known of the voice in it. Reads the head.
    virtual AVVoice voice(const std::filesystem::path& url) const = 0;

    /// Copies everything, the recorded input too, and puts a copy of the microphone's track, with less noise,
    /// before the original. Its sound begins and ends where the original's does. `normalizes`: its loudness
    /// becomes −16 LUFS, with peaks up to −1 dBTP, unless it is silent or shorter than a second. The voice
    /// must be as recorded.
    virtual void cleanVoice(const std::filesystem::path& source, const std::filesystem::path& destination,
                            AVFileType type, bool normalizes, const LongWork& work) const = 0;

    /// Copies the first video track, if any, and mixes all audio tracks into one stereo track: AAC, 48000 Hz,
    /// 192000 bit/s. Every track keeps its full gain; a limiter prevents clipping. The original of a clean
    /// voice is left out; a single track that remains is copied. Keeps the recorded input.
    virtual void mixAudio(const std::filesystem::path& source, const std::filesystem::path& destination,
                          AVFileType type, const LongWork& work) const = 0;

    /// Exports what is presented in `range`, or everything. Audio is cut to the sample. With the preset
    /// passthrough the file also contains the frames from the key frame before the start, but they are not
    /// presented; with the others its first frame is the one presented at the start. Of the
    /// recorded input it keeps what belongs to the range; the pointer's last position before it begins there.
    virtual void exportMovie(const std::filesystem::path& source, const std::filesystem::path& destination,
                             AVFileType type, AVAssetExportPreset preset, std::optional<CMTimeRange> range,
                             const LongWork& work) const = 0;

    /// Copies video and audio, but not the recorded input.
    virtual void copyWithoutInput(const std::filesystem::path& source,
                                  const std::filesystem::path& destination, AVFileType type,
                                  const LongWork& work) const = 0;
};

/// A picture in memory: 8-bit RGB, top row first, no padding.
struct CGImage {
    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> pixels;
};

/// Extracts pictures from a movie. One thread.
class AVAssetImageGenerator {
 public:
    virtual ~AVAssetImageGenerator() = default;
    /// The frame presented at `time`, or else the first one that begins within `toleranceAfter`; null if
    /// there is none. Times must not decrease from call to call. The picture is rotated as presented, fits
    /// the requested size, is never enlarged, and is valid until the next call. Throws PlatformError if the
    /// movie cannot be read.
    virtual const CGImage* image(CMTime time, CMTime toleranceAfter) = 0;
    /// The last key frame at or before `time`, which is found quickly anywhere in a long movie. Times in any
    /// order. After this, image() starts from there.
    virtual const CGImage* keyImage(CMTime time) = 0;
};

/// How an animation is encoded.
struct AnimationEncoding {
    enum class Format { gif, webp };
    Format format = Format::gif;
    /// From 0, the smallest file that text can be read in, to 1. In a GIF it is the number of colors, and how
    /// visible a change must be to be drawn.
    double quality = 1;
};

/// Writes an animation that loops forever. One thread. The destructor deletes the file unless it was
/// finalized.
class CGImageDestination {
 public:
    virtual ~CGImageDestination() = default;
    /// Appends a frame, shown for `delay`. Throws PlatformError.
    virtual void addImage(const CGImage& image, CMTime delay) = 0;
    /// The size, in bytes, that the file would have if it were finalized now.
    virtual std::uint64_t size() const = 0;
    /// Completes the file. Throws PlatformError.
    virtual void finalize() = 0;
};

/// Creates the two sides of an animation. Any thread.
class ImageIO {
 public:
    virtual ~ImageIO() = default;
    /// For the first video track; pictures fit `maximumSize` pixels. Throws PlatformError.
    virtual std::unique_ptr<AVAssetImageGenerator> makeImageGenerator(const std::filesystem::path& url,
                                                                      Size maximumSize) const = 0;
    /// Creates the file, which must not exist. Throws PlatformError.
    virtual std::unique_ptr<CGImageDestination> makeAnimation(const std::filesystem::path& url,
                                                              const AnimationEncoding& encoding) const = 0;
};

}  // namespace lumicrate
