// SPDX-License-Identifier: GPL-3.0-or-later
// Screen: what an X display shows at a moment, as the luma that a perfect recorder would write.
#pragma once

#include "Benchmarks/Assignment.h"
#include "Tests/Stage/Scene/Image.h"
#include "Tests/Stage/Xcb.h"

#include <cstdint>
#include <string>
#include <vector>

namespace lumicrate::bench {

enum class Matrix { Bt601, Bt709 };
enum class Range { Limited, Full };

class Screen {
 public:
    // Reads a part of a window; 0 is the root window. With a compositor, waits until the picture no longer
    // changes. Throws std::runtime_error.
    Screen(const std::string& display, std::uint32_t window, const stage::Area& area);

    // Each pixel is the mean of the area that it covers.
    Screen scaledTo(int width, int height) const;
    std::vector<std::uint8_t> luma(Matrix matrix, Range range) const;
    int width() const { return width_; }
    int height() const { return height_; }

 private:
    Screen(int width, int height);

    int width_;
    int height_;
    std::vector<float> pixels_;  // blue, green, red
};

// While it lives, the server keeps the covered parts of windows, so that they can be read.
class CoveredWindows {
 public:
    // Throws std::runtime_error.
    explicit CoveredWindows(const std::string& display);

 private:
    stage::XcbConnection connection_;
};

// Throws std::runtime_error.
PixelSize sizeOfWindow(const std::string& display, std::uint32_t window);

// Moves the pointer to the last pixel of the screen.
void hidePointer(const std::string& display);

}  // namespace lumicrate::bench
