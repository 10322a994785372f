// SPDX-License-Identifier: GPL-3.0-or-later
// Screen capture: displays, windows and applications that can be captured, and the streams that capture them.
//
// Coordinates are points with y downwards. Display frames and window frames are global, with the origin at
// the top left of the desktop; a filter's contentRect and a configuration's sourceRect are relative to the
// captured content.
#pragma once

#include "Platform/CMSampleBuffer.h"
#include "Support/DispatchQueue.h"
#include "Support/Error.h"
#include "Support/Geometry.h"
#include "Support/MediaTime.h"

#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace lumicrate {

struct SCDisplay {
    std::uint32_t displayID = 0;
    Rect frame;                  ///< points
    double pointPixelScale = 1;  ///< pixels per point
    std::string localizedName;   ///< "DELL U2723QE"; different for each display
    std::string connector = {};  ///< the display server's name for it, "HDMI-1"
    bool operator==(const SCDisplay&) const = default;
};

struct SCRunningApplication {
    std::int32_t processID = 0;
    std::string applicationName;
    bool operator==(const SCRunningApplication&) const = default;
};

/// Values of windowLayer.
namespace windowLayer {
inline constexpr int desktop = -1000;
inline constexpr int dock = 20;
inline constexpr int unmanaged = 25;  ///< of a window without a type that is not managed
inline constexpr int notification = 30;
}  // namespace windowLayer

struct SCWindow {
    std::uint32_t windowID = 0;
    Rect frame;
    std::optional<std::string> title;
    int windowLayer = 0;  ///< 0 is the level of normal windows
    std::optional<SCRunningApplication> owningApplication;
    double alpha = 1;  ///< 0 … 1; a window with 0 is invisible
    /// Where a desktop hides the positions of windows, `frame` is at (0, 0) and in pixels.
    bool hasPosition = true;
    bool operator==(const SCWindow&) const = default;
};

struct SCShareableContent {
    std::vector<SCDisplay> displays;
    std::vector<SCWindow> windows;
};

/// What is known of a window that has appeared. Numbers are 0 when they are unknown.
struct SCWindowFacts {
    std::uint32_t windowID = 0;
    std::int32_t processID = 0;
    std::uint32_t clientID = 0;  ///< of its program's connection to the display server
    std::uint32_t leaderID = 0;  ///< the window that stands for its program
    std::string windowClass{};   ///< the application's name for desktops; empty while it has set none
    /// The window that it is transient for, the one that this is transient for, and so on.
    std::vector<std::uint32_t> transientFor{};
    bool transientForGroup = false;  ///< for its program instead of one window
    bool unmanaged = false;          ///< by the window manager, as menus are
    int windowLayer = 0;
    Rect frame{};
};

/// Decides about a window, given others. Called on any thread.
using SCWindowRule = std::function<bool(const SCWindowFacts& window, std::span<const SCWindowFacts> others)>;

/// The content of a stream. Created by the three functions below.
struct SCContentFilter {
    enum class Kind { displayExcludingWindows, displayIncludingWindows, desktopIndependentWindow };

    Kind kind = Kind::displayExcludingWindows;
    SCDisplay display;              ///< unused for a single window
    std::vector<SCWindow> windows;  ///< the excluded ones, the included ones, or the single window
    Rect contentRect;               ///< at (0, 0) with the size of the content
    double pointPixelScale = 1;
    /// Of a display that excludes windows: all windows of this process are excluded as well, those that
    /// appear later from their first pixel on, except the windows of these numbers.
    std::optional<std::int32_t> excludedProcessID{};
    std::vector<std::uint32_t> exceptingWindows{};
    /// Of a display that includes windows: adds windows to the first one, while they are on the screen. The
    /// others are the first window and those that the rule has added.
    SCWindowRule includesWindow{};
    /// Of a display that excludes windows: those for which this holds are excluded as well, those that appear
    /// later from their first pixel on. The others are the applications' windows, also hidden ones. A window
    /// is judged again whenever it is shown, and when any window's class changes.
    SCWindowRule excludesWindow{};

    static SCContentFilter excludingWindows(const SCDisplay& display, std::vector<SCWindow> windows) {
        return {Kind::displayExcludingWindows, display, std::move(windows), extent(display.frame),
                display.pointPixelScale};
    }
    static SCContentFilter includingWindows(const SCDisplay& display, std::vector<SCWindow> windows) {
        return {Kind::displayIncludingWindows, display, std::move(windows), extent(display.frame),
                display.pointPixelScale};
    }
    static SCContentFilter desktopIndependent(const SCWindow& window) {
        return {Kind::desktopIndependentWindow, {}, {window}, extent(window.frame), 1};
    }

 private:
    static Rect extent(const Rect& frame) { return {0, 0, frame.width, frame.height}; }
};

/// "420v": 8-bit bi-planar 4:2:0, video range.
inline constexpr std::uint32_t kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange = 0x34323076;

enum class YCbCrMatrix { kCGDisplayStreamYCbCrMatrix_ITU_R_709_2 };

struct SCStreamConfiguration {
    int width = 1920;  ///< of the delivered frames, pixels
    int height = 1080;
    /// The captured part of the content, points; all of it if absent.
    std::optional<Rect> sourceRect;
    /// Parts of the content that are filled with one plain colour, points. They are enlarged to whole blocks
    /// of pixels; nothing below them is in the picture, nor is the cursor. Not for a window that is followed.
    std::vector<Rect> covers;
    /// With a filter that includes windows: capture exactly the first of them, wherever it is and whatever of
    /// it is on a display, and `sourceRect` only until that window has been on the screen. It follows the
    /// window without updates. Where frames are up to one point wider or higher on each side than the window,
    /// as rectangles in whole points are, they show its pixels one to one, repeated at the right and bottom.
    bool followsFirstWindow = false;
    /// A stream of a display delivers a frame after an update with another revision, even if the content has
    /// not changed since the last one.
    std::uint64_t revision = 0;
    /// Add bars to content of another aspect ratio instead of distorting it.
    bool preservesAspectRatio = true;
    /// The minimum time between two frames.
    CMTime minimumFrameInterval{1, 60};
    std::uint32_t pixelFormat = kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange;
    YCbCrMatrix colorMatrix = YCbCrMatrix::kCGDisplayStreamYCbCrMatrix_ITU_R_709_2;
    bool showsCursor = true;
    int queueDepth = 8;  ///< the maximum number of frames that wait for an output
    bool capturesAudio = false;
    bool excludesCurrentProcessAudio = false;
    /// Capture only the sound of this process and of the processes it started, directly or not; that of all
    /// if absent.
    std::optional<std::int32_t> audioProcess;
    int sampleRate = 48000;
    int channelCount = 2;
    bool captureMicrophone = false;
    /// The default microphone if absent.
    std::optional<std::string> microphoneCaptureDeviceID;
};

enum class SCStreamOutputType { screen, audio, microphone };

/// Receives the samples of a stream.
class SCStreamOutput {
 public:
    virtual ~SCStreamOutput() = default;
    /// Called on the queue that the output was added with, in order of time for each type.
    virtual void didOutputSampleBuffer(const CMSampleBuffer& sample, SCStreamOutputType type) = 0;
};

/// The stream error after the user stopped sharing through the controls of the system.
inline constexpr int SCStreamErrorUserStopped = -3817;

class SCStreamError : public PlatformError {
 public:
    using PlatformError::PlatformError;
};

/// Receives the events of a stream.
class SCStreamDelegate {
 public:
    virtual ~SCStreamDelegate() = default;
    /// The stream ended by itself. Any thread; at most once, and never after stopCapture has completed.
    virtual void didStopWithError(std::exception_ptr error) = 0;
    /// The stream continues, but not as expected; `sentence` explains this to the user. Any thread; never
    /// after stopCapture has completed.
    virtual void didNotice(std::string sentence) = 0;
};

/// A capture stream. Operations on the main thread; completions are called once, on any thread, with the
/// error or null.
class SCStream {
 public:
    using CompletionHandler = std::function<void(std::exception_ptr error)>;

    virtual ~SCStream() = default;
    /// Call it before startCapture. `output` and `queue` must outlive the stream.
    virtual void addStreamOutput(SCStreamOutput& output, SCStreamOutputType type, DispatchQueue& queue) = 0;
    virtual void startCapture(CompletionHandler completion) = 0;
    /// By its completion every sample has been added to its queue, and no more will be.
    virtual void stopCapture(CompletionHandler completion) = 0;
    virtual void updateConfiguration(const SCStreamConfiguration& configuration,
                                     CompletionHandler completion) = 0;
    /// Captures other windows of the same display. The filter must be of the kind that the stream has.
    virtual void updateContentFilter(const SCContentFilter& filter, CompletionHandler completion) = 0;
};

/// The capture service. Main thread.
class ScreenCaptureKit {
 public:
    using ContentHandler = std::function<void(SCShareableContent content, std::exception_ptr error)>;

    virtual ~ScreenCaptureKit() = default;
    /// Whether this process may capture the screen.
    virtual bool CGPreflightScreenCaptureAccess() const = 0;
    /// Whether streams can exclude windows from the picture of a display. Otherwise everything that is shown
    /// on it is captured.
    virtual bool canExcludeWindows() const { return true; }
    /// The main display of the desktop; 0 if there is none.
    virtual std::uint32_t CGMainDisplayID() const = 0;
    /// The current frame of a display; empty for an unknown display.
    virtual Rect CGDisplayBounds(std::uint32_t displayID) const = 0;
    /// The current frame of a window, as in the shareable content; none if it is not on the screen.
    virtual std::optional<Rect> windowBounds(std::uint32_t windowID) const = 0;
    /// Whether the window has not been closed; it may be minimised. False also without a display server.
    virtual bool windowExists(std::uint32_t windowID) const = 0;
    /// Calls the handler once, on any thread, with what can be captured.
    virtual void getShareableContent(ContentHandler handler) const = 0;
    /// `changed` is called on any thread whenever the shareable content has changed. An empty function
    /// disables it. Main thread.
    virtual void setOnContentChange(std::function<void()> changed) = 0;
    /// `delegate` must outlive the stream.
    virtual std::unique_ptr<SCStream> makeStream(const SCContentFilter& filter,
                                                 const SCStreamConfiguration& configuration,
                                                 SCStreamDelegate& delegate) = 0;
};

}  // namespace lumicrate
