// SPDX-License-Identifier: GPL-3.0-or-later
// PictureReader: decodes the pictures of a range in the order in which they are shown.
#pragma once

#include "Linux/Media/Editing/InputMovie.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>

namespace lumicrate::media {

/// Times are ticks from the start of the range. The frame is valid until the next call.
struct ShownPicture {
    AVFrame& frame;
    std::int64_t time;
    std::int64_t duration;
};

/// The first picture is the one shown at the start of the range, however long before it began. One thread.
/// Throws PlatformError.
class PictureReader {
 public:
    enum class Until {
        rangeEnds,
        keyPicture,  ///< the first one after the start, or the end of the range
    };

    /// `range` counts ticks of `clock`. `check` is called for each packet and may throw.
    PictureReader(const std::filesystem::path& source, int track, const TickRange& range, AVRational clock,
                  Until until, std::function<void()> check);

    /// Nothing after the last picture.
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
    OwnedFrame next_;  ///< the picture after `current_`, when `hasNext_`
    OwnedFrame current_;
    bool hasNext_ = false;
    bool drained_ = false;
    std::int64_t end_ = 0;  ///< of the packets read so far, at last of the range
};

}  // namespace lumicrate::media
