// SPDX-License-Identifier: GPL-3.0-or-later
// MovieFrames: decodes the pictures of a movie's first video track one by one.
#pragma once

#include "Linux/Media/Editing/InputMovie.h"
#include "Linux/Media/Images/PictureRenderer.h"
#include "Linux/Media/Libav.h"
#include "Support/MediaTime.h"

#include <cstdint>
#include <filesystem>

namespace lumicrate::media {

/// A picture and the time from which it is shown.
struct MovieFrame {
    CMTime begin;
    OwnedFrame picture;
    /// From here to `begin`, or to the end without a picture, the movie is damaged; invalid if it is not.
    CMTime damagedFrom{};
};

/// One thread. The decoder uses one thread per processor, each of which holds a picture.
class MovieFrames {
 public:
    /// Throws PlatformError when the file cannot be read or decoded or has no video.
    explicit MovieFrames(const std::filesystem::path& url);

    /// The next picture in the order of presentation, without those that an edit list hides and those that
    /// cannot be decoded; none after the last.
    MovieFrame next();

    /// Continues with the last key picture at or before `time`.
    void seek(CMTime time);

    /// The end of the last picture; invalid when unknown.
    CMTime end() const { return end_; }
    PixelSize codedSize() const;
    double pixelAspect() const;
    Orientation orientation() const;

 private:
    const AVStream& stream() const { return movie_.stream(track_); }
    void sendPacket();
    CMTime timeOf(std::int64_t timestamp) const;
    void noteDamage(CMTime from);
    [[noreturn]] void failAsDamaged() const;

    InputMovie movie_;
    int track_;
    OwnedCodec decoder_;
    OwnedPacket packet_;
    CMTime end_;
    CMTime readUpTo_ = CMTime::zero();
    CMTime damagedFrom_;  ///< since the last picture
    bool isDrained_ = false;
};

}  // namespace lumicrate::media
