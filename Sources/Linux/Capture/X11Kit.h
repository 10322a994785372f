// SPDX-License-Identifier: GPL-3.0-or-later
// X11Kit: screen capture from an X server.
#pragma once

#include "Linux/Capture/CaptureKit.h"
#include "Linux/Capture/ReconnectingClient.h"
#include "Linux/X11/Screens/Displays.h"
#include "Linux/X11/Windows/ContentWatch.h"
#include "Linux/X11/Windows/WindowList.h"

#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace lumicrate::capture {

/// Uses the X server of $DISPLAY; without one only sound can be captured. The size of a point is that of the
/// desktop at the first query, until setScale is called.
class X11Kit final : public CaptureKit {
 public:
    X11Kit();

    void setScale(double scale) override;
    std::vector<SCDisplay> displays() const override;
    std::vector<SCWindow> windows() const override;

    bool CGPreflightScreenCaptureAccess() const override;
    std::uint32_t CGMainDisplayID() const override;
    Rect CGDisplayBounds(std::uint32_t displayID) const override;
    std::optional<Rect> windowBounds(std::uint32_t windowID) const override;
    bool windowExists(std::uint32_t windowID) const override;
    /// Watches the X server that runs at the time of the call, until it ends.
    void setOnContentChange(std::function<void()> changed) override;

 private:
    std::unique_ptr<SampleSource> pictureSource(const SCContentFilter& filter,
                                                const SCStreamConfiguration& configuration) override;

    std::optional<double> scale_;  ///< of setScale
    ReconnectingClient<x11::Displays> displays_;
    ReconnectingClient<x11::WindowList> windows_;
    std::unique_ptr<x11::ContentWatch> contentWatch_;
};

}  // namespace lumicrate::capture
