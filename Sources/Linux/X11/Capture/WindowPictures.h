// SPDX-License-Identifier: GPL-3.0-or-later
// WindowPictures: still pictures of an X server's displays and windows, complete also where windows are
// covered.
#pragma once

#include "Linux/Pictures/BgraPicture.h"
#include "Linux/X11/Capture/ScreenReader.h"
#include "Linux/X11/Server/Connection.h"
#include "Linux/X11/Windows/WindowList.h"
#include "Platform/SCScreenshotManager.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace lumicrate::x11 {

/// A window's picture shows its frame as in WindowList. It is available at once with a compositing manager,
/// and for uncovered windows. Otherwise the window's program must paint it again first; this waits for a
/// tenth of a second, or up to a second for a busy program.
class WindowPictures final : public SCScreenshotManager {
 public:
    /// `displayName` is the X server's (":1"), or empty for that of $DISPLAY. Connects with the first
    /// picture, and again after the connection was lost.
    explicit WindowPictures(std::string displayName = {});
    ~WindowPictures() override;

    std::optional<CGImage> captureImage(std::uint32_t windowID, Size maximumSize) override;
    std::optional<CGImage> captureDisplay(std::uint32_t displayID) override;

 private:
    struct Server;

    std::optional<CGImage> withServer(const std::function<std::optional<CGImage>()>& capture);
    std::optional<pictures::BgraPicture> readUncovered(std::uint32_t window, const PixelRect& frame) const;
    pictures::BgraPicture readPixmap(std::uint32_t window, const PixelRect& frame) const;

    std::string displayName_;
    std::unique_ptr<Server> server_;
};

}  // namespace lumicrate::x11
