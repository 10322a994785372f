// SPDX-License-Identifier: GPL-3.0-or-later
// CameraFormats: the formats that a camera's node offers, in the server's terms.
#pragma once

#include "Linux/PipeWire/GraphWatch.h"
#include "Linux/PipeWire/Session.h"
#include "Platform/CameraFrame.h"

#include <spa/pod/builder.h>
#include <spa/utils/defs.h>

#include <cstdint>
#include <vector>

namespace lumicrate::pipewire {

/// One pixel format, size and rate.
struct OfferedFormat {
    CameraFormat format;
    std::uint32_t videoFormat = 0;  ///< a spa_video_format; not used for MJPG
    spa_fraction rate{};            ///< exactly, 0 ⁄ 1 for a variable rate
};

/// All combinations in a format object of the server that can be decoded; none for another object. Ranges are
/// replaced by common sizes and rates inside them.
std::vector<OfferedFormat> formatsIn(const spa_pod* object);

/// Asks a node for all formats that it offers, or for the one in which it runs for other programs. Empty when
/// there is none, or no answer in time. Takes the session's lock.
enum class FormatQuery { offered, running };
std::vector<OfferedFormat> queryFormats(Session& session, const GraphWatch& watch, std::uint32_t node,
                                        FormatQuery query);

/// A format object with exactly that format, for a stream to connect with.
const spa_pod* buildFormat(spa_pod_builder& builder, const OfferedFormat& offered);

}  // namespace lumicrate::pipewire
