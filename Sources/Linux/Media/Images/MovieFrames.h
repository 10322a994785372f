// MovieFrames: the decoded pictures of a movie's first video track, one after the other.
#pragma once

#include "Linux/Media/Editing/InputMovie.h"
#include "Linux/Media/Editing/Libav.h"
#include "Linux/Media/Images/PictureShape.h"
#include "Support/MediaTime.h"

#include <cstdint>
#include <filesystem>

namespace lumicrate::media {

/// A picture and when it begins to be shown.
struct MovieFrame {
    CMTime begin;
    OwnedFrame picture;
};

/// One thread; decoding uses threads of its own, each of which holds a picture.
class MovieFrames {
 public:
    /// Throws PlatformError: the file cannot be read, has no video or nothing that can be decoded.
    explicit MovieFrames(const std::filesystem::path& url);

    /// The next picture in the order in which they are shown, those left out by an edit list skipped; without
    /// a picture after the last. Throws PlatformError when the file is damaged or ends too early.
    MovieFrame next();

    /// When the last picture ends; invalid where the file does not tell.
    CMTime end() const { return end_; }
    PixelSize codedSize() const;
    double pixelAspect() const;
    Orientation orientation() const;

 private:
    const AVStream& stream() const { return movie_.stream(track_); }
    void sendPacket();
    CMTime timeOf(std::int64_t timestamp) const;
    [[noreturn]] void failAsDamaged() const;

    InputMovie movie_;
    int track_;
    OwnedCodec decoder_;
    OwnedPacket packet_;
    CMTime end_;
    CMTime readUpTo_ = CMTime::zero();
};

}  // namespace lumicrate::media
