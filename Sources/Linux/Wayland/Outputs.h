// SPDX-License-Identifier: GPL-3.0-or-later
// Outputs: the monitors of a Wayland compositor, as it announces them and as the recorder knows them.
#pragma once

#include "Platform/ScreenCaptureKit.h"
#include "Support/Geometry.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace lumicrate::wayland {

struct Output {
    std::string name;         ///< of its connector: "DP-1"; constant while it is plugged in
    std::string description;  ///< for people, in the compositor's words; may be empty
    std::string model;        ///< "DELL U2723QE"; empty where it is unknown
    Rect frame;               ///< in the desktop's points
    PixelSize pixels;         ///< as the user sees it, after the transform
    int transform = 0;        ///< of wl_output: quarter turns counterclockwise, + 4 when flipped

    /// Pixels per point, 1.5 also where the compositor announces whole scales only. As exact as the frame,
    /// which is rounded to whole points.
    double scale() const { return frame.width > 0 ? pixels.width / frame.width : 1; }
    bool operator==(const Output&) const = default;
};

/// A display's id: the same for the same name, in each process and after a restart; never 0.
std::uint32_t displayIDOf(const std::string& outputName);

/// Has a connection of its own. Every call queries the compositor, one thread at a time, and throws
/// PlatformError when it does not answer within the timeout or is gone; then all later calls do.
class Outputs {
 public:
    static constexpr std::chrono::milliseconds defaultTimeout{2000};

    /// `displayName` is the compositor's socket ("wayland-1"), or empty for that of $WAYLAND_DISPLAY. Throws
    /// PlatformError when no compositor answers.
    explicit Outputs(const std::string& displayName = {}, std::chrono::milliseconds timeout = defaultTimeout);
    ~Outputs();
    Outputs(Outputs&&) noexcept;
    Outputs& operator=(Outputs&&) noexcept;

    /// In the order in which they were plugged in. Outputs that show nothing are not among them.
    std::vector<Output> outputs();
    std::vector<SCDisplay> displays();
    /// The display in the top-left corner of the desktop, as Wayland has no primary one; 0 without displays.
    std::uint32_t mainDisplayID();
    /// A display's frame in points; an empty rectangle for an unknown display.
    Rect bounds(std::uint32_t displayID);

 private:
    class Client;
    std::unique_ptr<Client> client_;
};

}  // namespace lumicrate::wayland
