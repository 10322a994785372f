// SPDX-License-Identifier: GPL-3.0-or-later
// WebcamBubbleModel: what the webcam bubble shows, and what the mouse does to it.
#pragma once

#include "Lumicrate/Recording/RecordingOptions.h"
#include "Lumicrate/Shell/MenuItem.h"
#include "Platform/AVCaptureSession.h"
#include "Support/Geometry.h"
#include "Support/Published.h"

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace lumicrate {

/// An opaque colour; components 0 … 1.
struct NSColor {
    double red = 0;
    double green = 0;
    double blue = 0;

    /// "#FF3B30": six hexadecimal digits, with any number of "#" before and after them. None for other texts.
    static std::optional<NSColor> fromHex(std::string_view text);
    bool operator==(const NSColor&) const = default;
};

struct WebcamBubbleAppearance {
    enum class Cursor { arrow, closedHand, resize };

    WebcamShape shape = WebcamShape::circle;
    double borderWidth = 0;  ///< points, inside the outline
    NSColor borderColor;
    bool mirrored = true;
    bool disconnected = false;  ///< the camera was unplugged
    bool showsHandle = false;
    std::string sizeLabel;       ///< empty for none
    std::optional<float> level;  ///< of the microphone, 0 … 1; none: no level pill and no speaking ring
    Cursor cursor = Cursor::arrow;

    bool operator==(const WebcamBubbleAppearance&) const = default;
};

/// Places inside the bubble are relative to its bottom left corner, y up; places on the screen are global.
/// Points. Main thread only.
class WebcamBubbleModel {
 public:
    enum class Drag { none, move, resize };

    /// The panel, as far as the mouse needs it.
    struct Actions {
        std::function<Rect()> frame;
        std::function<void(const Rect&)> setFrame;
        /// The user has moved or resized the bubble and released the mouse button.
        std::function<void(Drag)> dragEnded;
        std::function<std::vector<MenuItem>()> makeMenu;
    };

    explicit WebcamBubbleModel(Actions actions) : actions_(std::move(actions)) {}

    Published<WebcamBubbleAppearance> appearance;
    /// Without pixels while there is none: a placeholder is shown.
    Published<RenderedPicture> picture;

    /// Takes shape, border and mirroring from the options.
    void applyOptions(const RecordingOptions& options);
    void setDisconnected(bool disconnected);
    void setMicrophoneLevel(std::optional<float> level);

    bool isOnHandle(Point inside) const;
    Drag drag() const { return drag_; }
    std::vector<MenuItem> makeMenu() const { return actions_.makeMenu(); }

    // The mouse, with its left button.
    void mouseMoved(Point inside);
    void mouseExited();
    void mouseDown(Point inside);
    void mouseDragged(Point onScreen);
    void mouseUp(Point inside);
    /// Forgets the mouse: the bubble has been hidden.
    void reset();

 private:
    /// Publishes the changed appearance, unless it is the same.
    void change(const std::function<void(WebcamBubbleAppearance&)>& edit);
    void updateHandleAndCursor(std::optional<Point> inside);

    Actions actions_;
    Drag drag_ = Drag::none;
    bool hovering_ = false;
    Point dragStartMouse_;
    Rect dragStartFrame_;
};

}  // namespace lumicrate
