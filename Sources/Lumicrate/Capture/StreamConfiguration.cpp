// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Capture/StreamConfiguration.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace lumicrate {

namespace {

/// The maximum picture size of H.264 recordings.
constexpr double h264MaxWidth = 4096;
constexpr double h264MaxHeight = 2304;
/// The maximum number of frames that wait for the movie.
constexpr int queueDepth = 6;

AVVideoCodecType codecFor(OutputFormat format) {
    return format == OutputFormat::movHEVC ? AVVideoCodecType::hevc : AVVideoCodecType::h264;
}

/// The captured part of the content; none for all of it.
std::optional<Rect> sourceRect(const CaptureTarget& target, const std::optional<CaptureSource>& source,
                               const RecordingOptions& options) {
    std::optional<Rect> part;
    if (isKind(source, CaptureSource::Kind::window)) {
        part = target.windowSourceRect;
    } else if (isKind(source, CaptureSource::Kind::area) && options.areaRect) {
        part = options.areaRect->intersection(target.filter.contentRect);
    }
    return part && !part->isEmpty() ? part : std::nullopt;
}

double maxLines(VideoQuality quality) {
    switch (quality) {
        case VideoQuality::p1080:
            return 1080;
        case VideoQuality::p720:
            return 720;
        case VideoQuality::native:
            break;
    }
    return std::numeric_limits<double>::infinity();
}

/// The factor by which the picture is scaled down, at most 1. The quality limits only its height.
double scaleFactor(Size pixels, const RecordingOptions& options) {
    const double scale = std::min(maxLines(options.quality) / pixels.height, 1.0);
    if (codecFor(options.format) != AVVideoCodecType::h264) return scale;
    return std::min({scale, h264MaxWidth / pixels.width, h264MaxHeight / pixels.height});
}

int wholePixels(double pixels) {
    return std::max(static_cast<int>(std::lround(pixels)), 2);
}

void setPicture(SCStreamConfiguration& configuration, const CaptureTarget& target,
                const std::optional<CaptureSource>& source, const RecordingOptions& options) {
    if (isKind(source, CaptureSource::Kind::audioOnly)) {
        configuration = soundOnly(std::move(configuration));
        return;
    }
    configuration.sourceRect = sourceRect(target, source, options);
    configuration.followsFirstWindow = isKind(source, CaptureSource::Kind::window);
    configuration.preservesAspectRatio = true;
    const Size points = configuration.sourceRect.value_or(target.filter.contentRect).size();
    const double density = target.filter.pointPixelScale;
    const Size pixels{points.width * density, points.height * density};
    const double scale = scaleFactor(pixels, options);
    configuration.width = wholePixels(pixels.width * scale);
    configuration.height = wholePixels(pixels.height * scale);
    configuration.minimumFrameInterval = CMTime(1, options.fps);
}

void setSound(SCStreamConfiguration& configuration, const RecordingOptions& options,
              const std::vector<CaptureDevice>& microphones) {
    configuration.capturesAudio = options.captureSystemAudio;
    configuration.excludesCurrentProcessAudio = true;
    configuration.sampleRate = 48000;
    configuration.channelCount = 2;
    configuration.captureMicrophone = options.captureMicrophone;
    if (!options.captureMicrophone || options.microphoneID.empty()) return;
    const bool connected =
        std::ranges::find(microphones, options.microphoneID, &CaptureDevice::id) != microphones.end();
    if (connected) configuration.microphoneCaptureDeviceID = options.microphoneID;
}

/// Bits per pixel of each frame.
double bitsPerPixel(EncodingQuality quality) {
    switch (quality) {
        case EncodingQuality::standard:
            return 0.06;
        case EncodingQuality::high:
            return 0.12;
        case EncodingQuality::maximum:
            break;
    }
    return 0.24;
}

}  // namespace

SCStreamConfiguration makeConfiguration(const CaptureTarget& target,
                                        const std::optional<CaptureSource>& source,
                                        const RecordingOptions& options,
                                        const std::vector<CaptureDevice>& microphones) {
    SCStreamConfiguration configuration;
    setPicture(configuration, target, source, options);
    configuration.pixelFormat = kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange;
    configuration.colorMatrix = YCbCrMatrix::kCGDisplayStreamYCbCrMatrix_ITU_R_709_2;
    configuration.showsCursor = options.showCursor;
    if (!source || !source->windowID()) configuration.covers = options.covers;
    configuration.queueDepth = queueDepth;
    setSound(configuration, options, microphones);
    if (options.onlyApplicationAudio) configuration.audioProcess = windowProcess(target, source);
    return configuration;
}

std::optional<std::int32_t> windowProcess(const CaptureTarget& target,
                                          const std::optional<CaptureSource>& source) {
    const auto windowID = source ? source->windowID() : std::nullopt;
    if (!windowID) return std::nullopt;
    const auto window = std::ranges::find(target.filter.windows, *windowID, &SCWindow::windowID);
    if (window == target.filter.windows.end() || !window->owningApplication) return std::nullopt;
    const std::int32_t process = window->owningApplication->processID;
    return process > 0 ? std::optional(process) : std::nullopt;
}

SCStreamConfiguration makeCameraConfiguration(PixelSize pictureSize, const RecordingOptions& options,
                                              const std::vector<CaptureDevice>& microphones) {
    SCStreamConfiguration configuration;
    configuration.width = pictureSize.width;
    configuration.height = pictureSize.height;
    configuration.minimumFrameInterval = CMTime(1, options.fps);
    configuration.queueDepth = queueDepth;
    setSound(configuration, options, microphones);
    configuration.capturesAudio = false;
    return configuration;
}

SCStreamConfiguration soundOnly(SCStreamConfiguration configuration) {
    // A stream always has a picture: use the smallest one at the lowest rate.
    configuration.width = configuration.height = 2;
    configuration.minimumFrameInterval = CMTime(1, 1);
    return configuration;
}

PixelSize cameraSize(VideoQuality quality) {
    return quality == VideoQuality::p720 ? PixelSize{1280, 720} : PixelSize{1920, 1080};
}

std::int64_t bitRate(int width, int height, const RecordingOptions& options) {
    constexpr double hevcFactor = 0.7;
    constexpr std::int64_t minBitRate = 1'000'000;
    double factor = bitsPerPixel(options.encodingQuality);
    if (codecFor(options.format) == AVVideoCodecType::hevc) factor *= hevcFactor;
    const std::int64_t pixelsPerSecond = std::int64_t{width} * height * options.fps;
    return std::max(static_cast<std::int64_t>(factor * static_cast<double>(pixelsPerSecond)), minBitRate);
}

MovieFormat movieFormat(OutputFormat format, bool soundAlone) {
    const AVVideoCodecType codec = codecFor(format);
    if (soundAlone) return {AVFileType::appleM4A, codec, "m4a"};
    if (format == OutputFormat::movHEVC) return {AVFileType::quickTimeMovie, codec, "mov"};
    return {AVFileType::mpeg4, codec, "mp4"};
}

MovieWriter::Settings makeWriterSettings(const SCStreamConfiguration& configuration,
                                         const RecordingOptions& options, bool soundAlone) {
    const MovieFormat format = movieFormat(options.format, soundAlone);
    MovieWriter::Settings settings;
    settings.fileType = format.fileType;
    settings.codec = format.codec;
    settings.width = configuration.width;
    settings.height = configuration.height;
    settings.fps = options.fps;
    settings.bitRate = static_cast<int>(std::min<std::int64_t>(
        bitRate(settings.width, settings.height, options), std::numeric_limits<int>::max()));
    settings.systemAudio = configuration.capturesAudio;
    settings.microphone = configuration.captureMicrophone;
    settings.video = !soundAlone;
    settings.constantFrameRate = options.constantFrameRate;
    return settings;
}

}  // namespace lumicrate
