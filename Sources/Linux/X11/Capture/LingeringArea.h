// LingeringArea: where something was to be seen a short while ago.
#pragma once

#include "Support/Geometry.h"

#include <chrono>
#include <optional>
#include <vector>

namespace lumicrate::x11 {

/// Steps that follow each other quickly are joined to one part, so that the area may become larger than it
/// was, but never smaller.
class LingeringArea {
 public:
    using Time = std::chrono::nanoseconds;

    /// Times never go back.
    void add(const PixelRect& rect, Time until);
    void expire(Time now);
    /// When the next part expires.
    std::optional<Time> nextExpiry() const;
    std::vector<PixelRect> rectangles() const;

 private:
    struct Part {
        PixelRect rect;
        Time first;  ///< until when the first step would have lingered
        Time until;
    };

    std::vector<Part> parts_;  ///< oldest first
};

}  // namespace lumicrate::x11
