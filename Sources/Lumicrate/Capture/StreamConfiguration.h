// The settings of a recording's capture stream and of its movie.
#pragma once

#include "Lumicrate/Capture/CaptureSource.h"
#include "Lumicrate/Capture/ContentFilter.h"
#include "Lumicrate/Recording/RecordingOptions.h"
#include "Platform/AVAssetWriter.h"
#include "Platform/AVCaptureDevice.h"
#include "Platform/ScreenCaptureKit.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace lumicrate {

/// `microphones` are those connected now: a chosen one that is not among them gives way to the default one.
SCStreamConfiguration makeConfiguration(const CaptureTarget& target,
                                        const std::optional<CaptureSource>& source,
                                        const RecordingOptions& options,
                                        const std::vector<CaptureDevice>& microphones);

/// The picture's bits per second, at least a million. Width and height in pixels.
std::int64_t bitRate(int width, int height, const RecordingOptions& options);

/// The kind of file that a recording becomes.
struct MovieFormat {
    AVFileType fileType = AVFileType::mpeg4;
    AVVideoCodecType codec = AVVideoCodecType::h264;
    std::string fileExtension;
    bool operator==(const MovieFormat&) const = default;
};

/// `soundAlone` has its own kind of file, whatever the format.
MovieFormat movieFormat(OutputFormat format, bool soundAlone);

}  // namespace lumicrate
