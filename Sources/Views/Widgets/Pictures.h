// SPDX-License-Identifier: GPL-3.0-or-later
// Pictures: converts the recorder's pictures for painting.
#pragma once

#include "Platform/AVAsset.h"

#include <QImage>

namespace lumicrate::views {

/// Shares the pixels without a copy: `picture` must outlive the image and its copies.
inline QImage sharedImage(const CGImage& picture) {
    return {picture.pixels.data(), picture.width, picture.height, qsizetype{3} * picture.width,
            QImage::Format_RGB888};
}

}  // namespace lumicrate::views
