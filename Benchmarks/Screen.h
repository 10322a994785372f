// Screen: what an X display shows at a moment, as the luma that a faultless recorder would write.
#pragma once

#include "Tests/Stage/Picture.h"

#include <cstdint>
#include <string>
#include <vector>

namespace lumicrate::bench {

enum class Matrix { Bt601, Bt709 };

class Screen {
 public:
    // Reads the whole root window. Throws std::runtime_error.
    explicit Screen(const std::string& display);

    std::vector<std::uint8_t> luma(Matrix matrix) const;
    int width() const { return width_; }
    int height() const { return height_; }

 private:
    int width_ = 0;
    int height_ = 0;
    std::vector<std::uint8_t> pixels_;  // blue, green, red, nothing
};

// Moves the pointer to the last pixel, where it covers nothing.
void hidePointer(const std::string& display);

}  // namespace lumicrate::bench
