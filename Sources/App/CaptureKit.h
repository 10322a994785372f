// CaptureKit: screen capture on this machine, put together from X11 pictures and PipeWire sound.
#pragma once

#include "Platform/ScreenCaptureKit.h"

#include <vector>

namespace lumicrate::app {

/// Reads displays from the X server of $DISPLAY; without one there is nothing to capture but sound.
class CaptureKit final : public ScreenCaptureKit {
 public:
    /// The displays now. Throws PlatformError when no X server can be reached.
    std::vector<SCDisplay> displays() const;

    bool CGPreflightScreenCaptureAccess() const override;
    std::uint32_t CGMainDisplayID() const override;
    Rect CGDisplayBounds(std::uint32_t displayID) const override;
    std::optional<Rect> windowBounds(std::uint32_t windowID) const override;
    void getShareableContent(ContentHandler handler) const override;
    std::unique_ptr<SCStream> makeStream(const SCContentFilter& filter,
                                         const SCStreamConfiguration& configuration,
                                         SCStreamDelegate& delegate) override;
};

}  // namespace lumicrate::app
