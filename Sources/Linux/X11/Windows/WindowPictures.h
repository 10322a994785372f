// WindowPictures: still pictures of an X server's windows, complete also where others cover them, and of its
// displays.
#pragma once

#include "Linux/X11/Capture/ScreenReader.h"
#include "Linux/X11/Pixels/BgraPicture.h"
#include "Linux/X11/Server/Connection.h"
#include "Linux/X11/Windows/WindowList.h"
#include "Platform/SCScreenshotManager.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace lumicrate::x11 {

/// A picture shows the frame that WindowList gives. With a compositing manager it is there at once. Without
/// one that is so for a window that nothing covers; another has to be painted anew by its program first, for
/// which this waits: a tenth of a second, and up to a whole one for a program that is busy.
class WindowPictures final : public SCScreenshotManager {
 public:
    /// `displayName` is the X server's (":1"), or empty for the one of $DISPLAY. It is looked for at the
    /// first picture, and again when it was lost.
    explicit WindowPictures(std::string displayName = {});
    ~WindowPictures() override;

    std::optional<CGImage> captureImage(std::uint32_t windowID, Size maximumSize) override;
    std::optional<CGImage> captureDisplay(std::uint32_t displayID) override;

 private:
    struct Server;

    std::optional<CGImage> tryTo(const std::function<std::optional<CGImage>()>& capture);
    std::optional<BgraPicture> uncovered(std::uint32_t window, const PixelRect& frame) const;
    BgraPicture apart(std::uint32_t window, const PixelRect& frame) const;

    std::string displayName_;
    std::unique_ptr<Server> server_;
};

}  // namespace lumicrate::x11
