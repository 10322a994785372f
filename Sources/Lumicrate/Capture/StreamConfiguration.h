// SPDX-License-Identifier: GPL-3.0-or-later
// The configuration of a recording's capture stream, and the bit rate and file format of its movie.
#pragma once

#include "Lumicrate/Capture/CaptureSource.h"
#include "Lumicrate/Capture/ContentFilter.h"
#include "Lumicrate/Movie/MovieWriter.h"
#include "Lumicrate/Recording/RecordingOptions.h"
#include "Platform/AVAssetWriter.h"
#include "Platform/AVCaptureDevice.h"
#include "Platform/ScreenCaptureKit.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace lumicrate {

/// `microphones` are the connected ones: if the chosen one is not among them, the default one is used.
SCStreamConfiguration makeConfiguration(const CaptureTarget& target,
                                        const std::optional<CaptureSource>& source,
                                        const RecordingOptions& options,
                                        const std::vector<CaptureDevice>& microphones);

/// The process that the recorded window belongs to; nothing for other sources, or if it is not known.
std::optional<std::int32_t> windowProcess(const CaptureTarget& target,
                                          const std::optional<CaptureSource>& source);

/// For a recording of a camera whose pictures have this size; without system audio.
SCStreamConfiguration makeCameraConfiguration(PixelSize pictureSize, const RecordingOptions& options,
                                              const std::vector<CaptureDevice>& microphones);

/// The same sound, with the picture that makes a stream deliver sound alone.
SCStreamConfiguration soundOnly(SCStreamConfiguration configuration);

/// The size that a camera's picture should have at this quality.
PixelSize cameraSize(VideoQuality quality);

/// Video bits per second, at least a million. Width and height in pixels.
std::int64_t bitRate(int width, int height, const RecordingOptions& options);

/// The file format of a recording.
struct MovieFormat {
    AVFileType fileType = AVFileType::mpeg4;
    AVVideoCodecType codec = AVVideoCodecType::h264;
    std::string fileExtension;
    bool operator==(const MovieFormat&) const = default;
};

/// A recording of sound alone is an M4A file, whatever `format` is.
MovieFormat movieFormat(OutputFormat format, bool soundAlone);

/// The movie of what is captured with this configuration, without its file.
MovieWriter::Settings makeWriterSettings(const SCStreamConfiguration& configuration,
                                         const RecordingOptions& options, bool soundAlone);

}  // namespace lumicrate
