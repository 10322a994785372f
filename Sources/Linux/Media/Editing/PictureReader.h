// PictureReader: the pictures of a range, decoded, as they are shown.
#pragma once

#include "Linux/Media/Editing/InputMovie.h"
#include "Linux/Media/Editing/TickRange.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>

namespace lumicrate::media {

/// A picture, when it is shown, from the range's start, and how long, in ticks. Good until the next is asked
/// for.
struct ShownPicture {
    AVFrame& frame;
    std::int64_t time;
    std::int64_t duration;
};

/// Begins with the picture that is shown at the range's start, however long before it began. One thread;
/// throws PlatformError.
class PictureReader {
 public:
    enum class Until {
        rangeEnds,
        keyPicture,  ///< or up to the first key picture after the start
    };

    /// `clock` is the one whose ticks `range` counts. `check` is called for each packet and may throw.
    PictureReader(const std::filesystem::path& source, int track, const TickRange& range, AVRational clock,
                  Until until, std::function<void()> check);

    /// Nothing after the last.
    std::optional<ShownPicture> next();

 private:
    bool decode();
    bool read();
    std::int64_t timeOf(const AVFrame& frame) const;

    InputMovie input_;
    int track_;
    TickRange range_;
    AVRational clock_;
    Until until_;
    std::function<void()> check_;
    OwnedCodec decoder_;
    OwnedPacket packet_;
    OwnedFrame decoded_;
    OwnedFrame coming_;  ///< decoded after the one that was given last, or none
    OwnedFrame given_;
    bool isComing_ = false;
    bool drained_ = false;
    std::int64_t end_ = 0;  ///< of the packets read, and then of the range
};

}  // namespace lumicrate::media
