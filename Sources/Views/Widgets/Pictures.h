// The recorder's pictures on their way to painters.
#pragma once

#include "Platform/AVAsset.h"

#include <QImage>

namespace lumicrate::views {

/// Shares the pixels: `picture` must outlive the image and its copies.
inline QImage sharedImage(const CGImage& picture) {
    return {picture.pixels.data(), picture.width, picture.height, qsizetype{3} * picture.width,
            QImage::Format_RGB888};
}

}  // namespace lumicrate::views
