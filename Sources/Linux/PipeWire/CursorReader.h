// SPDX-License-Identifier: GPL-3.0-or-later
// CursorReader: the pointer as a producer describes it beside its pictures.
#pragma once

#include "Linux/Pictures/CursorOverlay.h"
#include "Linux/PipeWire/UprightPicture.h"

#include <spa/buffer/buffer.h>

#include <memory>

namespace lumicrate::pipewire {

/// Follows position and image over many buffers. An image is sent only when it has changed.
class CursorReader {
 public:
    /// Whether the pointer changed. Buffers without usable data change nothing.
    bool read(const spa_buffer& buffer);
    /// In the coordinates of the content; an empty one while the pointer is hidden.
    pictures::CursorOverlay overlay(const UprightMap& map);

 private:
    using Image = std::shared_ptr<const pictures::CursorImage>;

    bool isVisible_ = false;
    int x_ = 0;  ///< of the hot spot, in the buffer's pixels
    int y_ = 0;
    Image image_;  ///< as it was sent
    // The image as it is shown, and of which image and with which transform it was made:
    Image upright_;
    Image uprightOf_;
    PictureTransform uprightTransform_;
};

}  // namespace lumicrate::pipewire
