// Finished movie files: what they tell of themselves, and what is made of them.
#pragma once

#include "Platform/AVAssetWriter.h"
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

/// What a movie tells without any of its media being read.
struct AVAssetSummary {
    double duration = 0;            ///< seconds, of what is presented; 0 where there is nothing
    std::optional<Size> videoSize;  ///< pixels, upright as it is shown; nothing without a video track
    std::string videoSubtype;  ///< the first video track's four letters: "avc1", "hvc1" …; empty without
    int audioTracks = 0;

    bool operator==(const AVAssetSummary&) const = default;
};

/// From `start` to `end`, in seconds of what is presented.
struct CMTimeRange {
    CMTime start;
    CMTime end;
};

enum class AVAssetExportPreset {
    passthrough,         ///< nothing is encoded anew
    highestQuality,      ///< the pictures are encoded anew where they must be, as H.264
    hevcHighestQuality,  ///< likewise, as HEVC
};

/// Reads finished movies and makes others of them. Each call blocks and may take long; any thread, several at
/// once. All throw PlatformError with one sentence; what makes a file throws CancelledError when it is given
/// up and, however it fails, leaves no file at `destination`, which must not exist before. The source is only
/// read.
class AVAssets {
 public:
    virtual ~AVAssets() = default;

    /// Reads the container's head alone.
    virtual AVAssetSummary summary(const std::filesystem::path& url) const = 0;

    /// Copies the first video track as it is, where there is one, and mixes all sound into one stereo track:
    /// AAC, 48000 Hz, 192000 bit/s. Every track sounds at full gain, and only what would clip is limited.
    virtual void mixAudio(const std::filesystem::path& source, const std::filesystem::path& destination,
                          AVFileType type, const LongWork& work) const = 0;

    /// A movie of what is presented in `range`, or of all without one. Sound is cut to the sample. With the
    /// preset passthrough, what lies between the key picture before the start and the start is in the file
    /// but hidden; with the others the first picture is the one shown at the start.
    virtual void exportMovie(const std::filesystem::path& source, const std::filesystem::path& destination,
                             AVFileType type, AVAssetExportPreset preset, std::optional<CMTimeRange> range,
                             const LongWork& work) const = 0;
};

/// A picture in memory: red, green and blue, one byte each, rows without gaps from the top.
struct CGImage {
    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> pixels;
};

/// Takes pictures out of a movie. One thread.
class AVAssetImageGenerator {
 public:
    virtual ~AVAssetImageGenerator() = default;
    /// The picture shown at `time`, or else the first one that begins within `toleranceAfter` from there;
    /// nothing where there is none. Times must not fall from call to call. The picture is upright, at most
    /// as large as was asked for, never enlarged, and valid until the next call. Throws PlatformError when
    /// the movie cannot be read any further.
    virtual const CGImage* image(CMTime time, CMTime toleranceAfter) = 0;
};

/// Writes an animated GIF that loops forever. One thread. Deletes the file unless it was finalized.
class CGImageDestination {
 public:
    virtual ~CGImageDestination() = default;
    /// Appends a frame, shown for `delay`. Throws PlatformError.
    virtual void addImage(const CGImage& image, CMTime delay) = 0;
    /// Completes the file. Throws PlatformError.
    virtual void finalize() = 0;
};

/// What a GIF is made with. Any thread.
class ImageIO {
 public:
    virtual ~ImageIO() = default;
    /// Of the movie's first video track; pictures of at most `maximumSize` pixels. Throws PlatformError.
    virtual std::unique_ptr<AVAssetImageGenerator> makeImageGenerator(const std::filesystem::path& url,
                                                                      Size maximumSize) const = 0;
    /// Creates the file, which must not exist. Throws PlatformError.
    virtual std::unique_ptr<CGImageDestination> makeGIFDestination(
        const std::filesystem::path& url) const = 0;
};

}  // namespace lumicrate
