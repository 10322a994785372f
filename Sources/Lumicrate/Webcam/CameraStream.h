// SPDX-License-Identifier: GPL-3.0-or-later
// CameraStream: the pictures of a running camera and the sound of a microphone as one capture stream.
#pragma once

#include "Platform/AVCaptureSession.h"
#include "Platform/ScreenCaptureKit.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>

namespace lumicrate {

/// Passes on the camera's frames that have the configured size, at most at the configured rate, and drops
/// frames for a queue that is too far behind. Sound comes from another stream. The camera must be running; it
/// continues when this stream stops. Main thread, except for the delivery of frames.
class CameraStream final : public SCStream {
 public:
    /// `sound` delivers no pictures. `camera` must outlive the stream.
    CameraStream(AVCaptureSession& camera, bool mirrored, const SCStreamConfiguration& configuration,
                 std::unique_ptr<SCStream> sound);
    ~CameraStream() override;
    CameraStream(const CameraStream&) = delete;
    CameraStream& operator=(const CameraStream&) = delete;

    void addStreamOutput(SCStreamOutput& output, SCStreamOutputType type, DispatchQueue& queue) override;
    void startCapture(CompletionHandler completion) override;
    void stopCapture(CompletionHandler completion) override;
    void updateConfiguration(const SCStreamConfiguration& configuration,
                             CompletionHandler completion) override;
    /// A camera's picture has no windows.
    void updateContentFilter(const SCContentFilter& /*filter*/, CompletionHandler completion) override {
        completion(nullptr);
    }

 private:
    struct Output {
        SCStreamOutput* output;
        DispatchQueue* queue;
        /// Frames in the queue that are not processed yet; they may outlive the stream.
        std::shared_ptr<std::atomic<int>> inFlight;
    };

    void deliver(const CMSampleBuffer& frame);
    bool isDue(CMTime time);

    AVCaptureSession& camera_;
    const bool mirrored_;
    const SCStreamConfiguration configuration_;
    std::unique_ptr<SCStream> sound_;
    std::shared_ptr<std::atomic<bool>> soundRuns_ = std::make_shared<std::atomic<bool>>(false);
    std::optional<Output> pictures_;  ///< constant while frames are delivered
    // On the camera's thread:
    std::uint64_t sequence_ = 0;
    CMTime due_;  ///< of the next frame; invalid before the first one
};

}  // namespace lumicrate
