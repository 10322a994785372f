// SPDX-License-Identifier: GPL-3.0-or-later
// CameraSession: live pictures of a PipeWire camera.
#pragma once

#include "Linux/PipeWire/Session.h"
#include "Platform/AVCaptureSession.h"
#include "Platform/CameraFrame.h"
#include "Support/DispatchQueue.h"
#include "Support/Executor.h"

#include <functional>
#include <memory>
#include <string>

namespace lumicrate::capture {

/// Opens and releases the camera on a queue, and works on frames on threads of its own. The sink that
/// setOnFrame() sets must not wait for the main thread.
class CameraSession final : public AVCaptureSession {
 public:
    /// Sessions that share a queue open a camera only after the others have released theirs. `executor` must
    /// outlive the queue's work.
    CameraSession(Executor& executor, CameraFormatChooser choose, std::shared_ptr<DispatchQueue> queue,
                  pipewire::Remote remote = {});
    ~CameraSession() override;
    CameraSession(const CameraSession&) = delete;
    CameraSession& operator=(const CameraSession&) = delete;

    void startRunning(const Settings& settings, std::function<void(Outcome)> completion) override;
    /// When this returns, the frame sink is no longer running. The camera is released some milliseconds
    /// later.
    void stopRunning() override;
    std::string deviceID() const override { return deviceID_; }
    PixelSize pictureSize() const override { return pictureSize_; }
    void setPreviewSize(PixelSize size) override;
    RenderedPicture preview() const override { return preview_; }
    void setOnPreview(std::function<void()> changed) override { previewChanged_ = std::move(changed); }
    void setOnFrame(std::function<void(const CMSampleBuffer&)> sink, bool mirrored) override;
    void setOnConnectionChange(std::function<void(bool isConnected)> changed) override {
        connectionChanged_ = std::move(changed);
    }

 private:
    class Run;
    struct Latest;

    void updatePreview(Latest& latest);
    void pictureArrived();
    void unplugged();
    void fail(Outcome outcome);

    Executor& executor_;
    const CameraFormatChooser choose_;
    const pipewire::Remote remote_;
    const std::shared_ptr<DispatchQueue> queue_;
    std::shared_ptr<Run> run_;  ///< while running; destroyed on the queue
    /// Exists while running. Work that was posted by an earlier run finds that its token is gone.
    std::shared_ptr<const bool> token_;
    std::function<void(Outcome)> completion_;
    bool isConnected_ = false;
    std::string deviceID_;
    PixelSize pictureSize_;
    PixelSize previewSize_;
    RenderedPicture preview_;
    std::function<void(const CMSampleBuffer&)> sink_;
    bool isMirrored_ = false;
    std::function<void()> previewChanged_;
    std::function<void(bool)> connectionChanged_;
};

/// Makes sessions that share a queue, which opens and releases their cameras in turn.
AVCaptureSessionFactory makeCameraSessionFactory(Executor& executor, CameraFormatChooser choose,
                                                 pipewire::Remote remote = {});

}  // namespace lumicrate::capture
