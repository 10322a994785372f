// SPDX-License-Identifier: GPL-3.0-or-later
// Surface: a window of a scene, and the operations to draw in it.
#pragma once

#include "Tests/Stage/Scene/Image.h"

#include <cstdint>
#include <memory>
#include <string>

namespace lumicrate::stage {

/// An image that a canvas has stored.
using StoredImage = std::uint32_t;

/// Operations may throw std::runtime_error when the display went away.
class Surface {
 public:
    virtual ~Surface() = default;

    /// Another window, above all others, in pixels of this one. Throws std::runtime_error.
    virtual std::unique_ptr<Surface> openWindow(const Area& area, const std::string& title) = 0;

    /// The X window; 0 on Wayland.
    virtual std::uint32_t id() const = 0;
    virtual int width() const = 0;
    virtual int height() const = 0;

    /// Keeps an image as long as the canvas lives.
    virtual StoredImage store(const Image& image) = 0;
    /// Tiles the window with an image, which also appears where the window is uncovered.
    virtual void setBackground(StoredImage image) = 0;
    virtual void copy(StoredImage image, const Area& from, int x, int y) = 0;
    virtual void put(const Image& image, const Area& from, int x, int y) = 0;
    void put(const Image& image, int x = 0, int y = 0) {
        put(image, {0, 0, image.width(), image.height()}, x, y);
    }
    virtual void fill(const Area& area, Color color) = 0;
    /// The place of the top-left corner on the screen.
    virtual void moveTo(int x, int y) = 0;
    /// Returns when the server has drawn everything, in all windows of the scene.
    virtual void sync() = 0;
};

/// The canvas of a scene, which covers the screen of $DISPLAY. No window manager manages it. Returns when it
/// is visible. Throws std::runtime_error.
std::unique_ptr<Surface> openXCanvas(const std::string& title);
/// The same on an output of $WAYLAND_DISPLAY ("HEADLESS-1"; empty for the first one), which it fills pixel
/// for pixel at any scale. Its windows are drawn into it: the compositor sees one, and a step in all of them
/// is one frame of it.
std::unique_ptr<Surface> openWaylandCanvas(const std::string& title, const std::string& outputName);

}  // namespace lumicrate::stage
