// SPDX-License-Identifier: GPL-3.0-or-later
// AVCaptureSession: live pictures of one camera.
#pragma once

#include "Platform/CMSampleBuffer.h"
#include "Platform/RenderedPicture.h"
#include "Support/Geometry.h"

#include <functional>
#include <memory>
#include <string>

namespace lumicrate {

/// One session delivers the pictures of one camera, for a preview and optionally for a movie. The camera is
/// opened by startRunning() and released by stopRunning(). Main thread, except where noted.
class AVCaptureSession {
 public:
    struct Settings {
        /// The id of a CaptureDevice; when it is empty or not connected, the default camera is used.
        std::string deviceID;
        /// The size in pixels that is needed; the camera's format is chosen by it.
        PixelSize wantedSize{1280, 720};
        double wantedRate = 30;  ///< pictures per second
    };
    enum class Outcome {
        running,
        noCamera,          ///< none is connected
        couldNotBeStarted  ///< it is busy, or sends nothing that can be shown
    };

    virtual ~AVCaptureSession() = default;

    /// Opens the camera; returns at once. `completion` is called once on the main thread, with `running` when
    /// the first picture has arrived; not after stopRunning().
    virtual void startRunning(const Settings& settings, std::function<void(Outcome)> completion) = 0;
    virtual void stopRunning() = 0;
    /// The id of the camera that is used; empty while not running.
    virtual std::string deviceID() const = 0;
    /// The size of the camera's pictures as presented (upright); 0 × 0 before the first one.
    virtual PixelSize pictureSize() const = 0;

    /// Pictures for the screen are scaled so that they cover this size, keeping their aspect ratio: one side
    /// fits, the other may be larger. 0 × 0: none are made.
    virtual void setPreviewSize(PixelSize size) = 0;
    /// The latest picture; without pixels before the first one. Not mirrored.
    virtual RenderedPicture preview() const = 0;
    /// `changed` is called on the main thread when preview() has changed.
    virtual void setOnPreview(std::function<void()> changed) = 0;

    /// `sink` receives every frame in the camera's full size, on a thread of the session, with the time of
    /// capture on the host clock and without frame information. With `mirrored`, flipped horizontally. An
    /// empty function ends that; when this returns, the previous one is no longer running.
    virtual void setOnFrame(std::function<void(const CMSampleBuffer&)> sink, bool mirrored) = 0;

    /// `changed` is called on the main thread with false when the camera is unplugged while running. The
    /// session then waits; when the same camera comes back, it continues and calls with true.
    virtual void setOnConnectionChange(std::function<void(bool isConnected)> changed) = 0;
};

using AVCaptureSessionFactory = std::function<std::unique_ptr<AVCaptureSession>()>;

}  // namespace lumicrate
