// SPDX-License-Identifier: GPL-3.0-or-later
// RecordingOptions: the options of one recording, and the preferences that they are read from.
#pragma once

#include "Lumicrate/Recording/RawValues.h"
#include "Platform/NSUserDefaults.h"
#include "Support/Geometry.h"

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace lumicrate {

/// What the record button records.
enum class CaptureMode { window, area, screen, webcam, audio };
enum class OutputFormat { mp4H264, movHEVC };
/// The size of the picture: unscaled, or at most that many lines.
enum class VideoQuality { native, p1080, p720 };
/// The bits per pixel of the video.
enum class EncodingQuality { standard, high, maximum };
enum class WebcamShape { circle, rounded, rectangle };
enum class WebcamBorder { none, thin, medium, thick };
/// Where pressed keys are shown in the recorded part; without a side, in its middle.
enum class KeysPlace { bottom, bottomLeft, bottomRight, top, topLeft, topRight };
enum class KeysSize { small, medium, large };

template <>
struct RawValues<CaptureMode> {
    static constexpr std::array<std::string_view, 5> names = {"window", "area", "screen", "webcam", "audio"};
};
template <>
struct RawValues<OutputFormat> {
    static constexpr std::array<std::string_view, 2> names = {"mp4H264", "movHEVC"};
};
template <>
struct RawValues<VideoQuality> {
    static constexpr std::array<std::string_view, 3> names = {"native", "p1080", "p720"};
};
template <>
struct RawValues<EncodingQuality> {
    static constexpr std::array<std::string_view, 3> names = {"standard", "high", "maximum"};
};
template <>
struct RawValues<WebcamShape> {
    static constexpr std::array<std::string_view, 3> names = {"circle", "rounded", "rectangle"};
};
template <>
struct RawValues<WebcamBorder> {
    static constexpr std::array<std::string_view, 4> names = {"none", "thin", "medium", "thick"};
};

template <>
struct RawValues<KeysPlace> {
    static constexpr std::array<std::string_view, 6> names = {"bottom", "bottomLeft", "bottomRight",
                                                              "top",    "topLeft",    "topRight"};
};
template <>
struct RawValues<KeysSize> {
    static constexpr std::array<std::string_view, 3> names = {"small", "medium", "large"};
};

/// The keys of the preferences store.
namespace preference {
inline constexpr std::string_view captureSystemAudio = "captureSystemAudio";
inline constexpr std::string_view captureMicrophone = "captureMicrophone";
inline constexpr std::string_view microphoneID = "microphoneID";
inline constexpr std::string_view quality = "quality";
inline constexpr std::string_view fps = "fps";
inline constexpr std::string_view format = "format";
inline constexpr std::string_view showCursor = "showCursor";
inline constexpr std::string_view hideSelf = "hideSelf";
inline constexpr std::string_view encodingQuality = "encodingQuality";
inline constexpr std::string_view countdown = "countdown";
inline constexpr std::string_view highlightClicks = "highlightClicks";
inline constexpr std::string_view webcamEnabled = "webcamEnabled";
inline constexpr std::string_view webcamID = "webcamID";
inline constexpr std::string_view webcamWidth = "webcamWidth";
inline constexpr std::string_view webcamShape = "webcamShape";
inline constexpr std::string_view webcamBorder = "webcamBorder";
inline constexpr std::string_view webcamBorderColor = "webcamBorderColor";
inline constexpr std::string_view areaRect = "areaRect";
inline constexpr std::string_view captureMode = "captureMode";
inline constexpr std::string_view openPreview = "openPreview";
inline constexpr std::string_view mixAudio = "mixAudio";
inline constexpr std::string_view webcamMirror = "webcamMirror";
inline constexpr std::string_view webcamMicLevel = "webcamMicLevel";
inline constexpr std::string_view checkForUpdates = "checkForUpdates";
inline constexpr std::string_view holdNotifications = "holdNotifications";
inline constexpr std::string_view recordsInputData = "recordsInputData";
// Without a registered fallback.
inline constexpr std::string_view recordingsFolder = "recordingsFolder";  ///< absolute; or else the default
inline constexpr std::string_view notifyWhenSaved = "notifyWhenSaved";
inline constexpr std::string_view constantFrameRate = "constantFrameRate";
inline constexpr std::string_view onlyApplicationAudio = "onlyApplicationAudio";
inline constexpr std::string_view replaySeconds = "replaySeconds";  ///< 0: off
inline constexpr std::string_view showKeys = "showKeys";
inline constexpr std::string_view keysPlace = "keysPlace";
inline constexpr std::string_view keysSize = "keysSize";
inline constexpr std::string_view showTypedText = "showTypedText";
inline constexpr std::string_view neverRecorded = "neverRecorded";  ///< classes, separated by commas
inline constexpr std::string_view cleanVoice = "cleanVoice";
inline constexpr std::string_view normalizeVoice = "normalizeVoice";  ///< no effect without cleanVoice
}  // namespace preference

/// The width of the webcam bubble, points.
inline constexpr double minWebcamWidth = 100;
inline constexpr double maxWebcamWidth = 480;

inline constexpr std::size_t maxCovers = 32;

/// A snapshot of the preferences. A default-constructed one has the values of an empty store.
struct RecordingOptions {
    bool captureSystemAudio = true;
    bool captureMicrophone = false;
    std::string microphoneID;  ///< empty for the system's default microphone
    VideoQuality quality = VideoQuality::p1080;
    int fps = 30;  ///< 15, 24, 30 or 60
    OutputFormat format = OutputFormat::mp4H264;
    bool showCursor = true;
    bool hideSelf = true;  ///< exclude this application's own windows
    EncodingQuality encodingQuality = EncodingQuality::high;
    bool countdown = true;
    bool highlightClicks = false;
    bool webcamEnabled = false;
    std::string webcamID;      ///< empty for the default camera
    double webcamWidth = 200;  ///< points, 100 … 480
    WebcamShape webcamShape = WebcamShape::circle;
    WebcamBorder webcamBorder = WebcamBorder::medium;
    std::string webcamBorderColor = "#FFFFFF";
    bool webcamMirror = true;
    /// The last confirmed area, at least 1 × 1: points of its screen, y down from the screen's top left
    /// corner.
    std::optional<Rect> areaRect;
    /// A picture every 1 ⁄ fps s, whether or not the screen changes.
    bool constantFrameRate = false;
    /// With a recorded window: of the system audio only what the window's application plays.
    bool onlyApplicationAudio = false;
    /// Show pressed shortcuts and keys that type nothing; with `showTypedText` also what is typed.
    bool showKeys = false;
    KeysPlace keysPlace = KeysPlace::bottom;
    KeysSize keysSize = KeysSize::medium;
    bool showTypedText = false;
    /// Have the desktop hold back notifications meanwhile.
    bool holdNotifications = true;
    /// Keep the pointer's positions, clicks and shown keys as data in the movie.
    bool recordsInputData = true;
    /// Covered parts of the recorded screen, at most maxCovers: points, y down from its top left corner.
    std::vector<Rect> covers;
    /// The window classes of applications that are absent from every recording.
    std::vector<std::string> neverRecorded;

    bool operator==(const RecordingOptions&) const = default;

    /// Registers the fallbacks of the preference keys. Call it once, before reading anything.
    static void registerDefaults(NSUserDefaults& defaults);
    /// The current values. A stored value that is not valid gives the fallback of its key.
    static RecordingOptions current(const NSUserDefaults& defaults);
};

}  // namespace lumicrate
