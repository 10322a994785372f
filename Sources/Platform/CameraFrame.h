// SPDX-License-Identifier: GPL-3.0-or-later
// CameraFormat: a format that a camera offers. CameraFrame: what a camera delivers in it, not yet decoded.
#pragma once

#include "Support/Geometry.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <vector>

namespace lumicrate {

/// How pixels are stored. The names of packed formats give the order of the bytes in memory; x is unused.
enum class CameraPixels : std::uint8_t {
    mjpg,  ///< each frame is a JPEG picture
    nv12,
    nv21,
    i420,
    yv12,
    yuy2,
    yvyu,
    uyvy,
    bgrx,
    rgbx,
    xrgb,
    xbgr,
    rgb,
    bgr,
    gray
};

struct CameraFormat {
    /// Larger pictures are not supported; pixels.
    static constexpr int maxSide = 8192;

    CameraPixels pixels = CameraPixels::mjpg;
    PixelSize size;
    double rate = 0;  ///< frames per second

    bool isCompressed() const { return pixels == CameraPixels::mjpg; }
    bool operator==(const CameraFormat&) const = default;
};

/// Chooses one of the formats; nothing when none can be used.
using CameraFormatChooser = std::function<std::optional<std::size_t>(
    std::span<const CameraFormat> offered, PixelSize wantedSize, double wantedRate)>;

/// The colours of uncompressed YUV frames. JPEG is always BT.601 in full range.
struct CameraColors {
    bool isBt709 = false;  ///< else BT.601
    bool isFullRange = false;
    bool operator==(const CameraColors&) const = default;
};

/// How a picture was turned before it was sent: flipped horizontally, then turned. Both must be undone.
struct PictureTransform {
    bool isFlipped = false;
    int quarterTurns = 0;  ///< counter-clockwise, 0 … 3
    bool operator==(const PictureTransform&) const = default;
};

/// The planes lie within `bytes`; nothing else can be trusted: there may be fewer bytes than the format
/// needs, or garbage.
struct CameraFrame {
    /// The planes one after another, or one plane for each of several memory blocks.
    struct Plane {
        std::size_t offset = 0;  ///< in `bytes`
        std::size_t size = 0;    ///< in bytes
        int stride = 0;          ///< bytes from one row to the next; 0 when unknown
    };

    CameraFormat format;
    CameraColors colors;
    PictureTransform transform;
    std::optional<PixelRect> crop;    ///< the part of the picture that is shown
    std::chrono::nanoseconds time{};  ///< of capture, on the host clock
    std::vector<Plane> planes;
    /// Of all planes, then `padding` zeros: decoders and scalers read a little more than they use.
    std::vector<std::uint8_t> bytes;
    static constexpr std::size_t padding = 64;
};

}  // namespace lumicrate
