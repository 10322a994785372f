// SPDX-License-Identifier: GPL-3.0-or-later
// CameraWorker: decodes and converts a camera's frames on a thread of its own.
#pragma once

#include "Linux/Media/Camera/CameraConverter.h"
#include "Linux/Media/Camera/CameraDecoder.h"
#include "Platform/AVCaptureSession.h"
#include "Platform/CMSampleBuffer.h"
#include "Platform/CameraFrame.h"
#include "Support/Geometry.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <thread>

namespace lumicrate::capture {

/// Always works on the newest frame and drops those that arrive meanwhile, so it never falls behind. Damaged
/// frames are dropped, too.
class CameraWorker {
 public:
    using FrameSink = std::function<void(const CMSampleBuffer&)>;
    /// Called on the worker's thread.
    struct Handlers {
        std::function<void(const RenderedPicture&)> onPreview;
        /// After each frame with a picture: its time, and the size as presented.
        std::function<void(std::chrono::nanoseconds time, PixelSize size)> onPicture;
    };

    explicit CameraWorker(Handlers handlers);
    /// Waits for the current frame.
    ~CameraWorker();
    CameraWorker(const CameraWorker&) = delete;
    CameraWorker& operator=(const CameraWorker&) = delete;

    /// Replaces a frame that is still waiting. Exchanges the frame for one whose memory can be used again.
    /// Any thread.
    void put(CameraFrame& frame);
    /// 0 × 0: no preview. Any thread.
    void setPreviewSize(PixelSize size);
    /// When this returns, the previous sink is no longer running. Any thread but the worker's.
    void setSink(FrameSink sink, bool isMirrored);

 private:
    /// What is made of each frame.
    struct Wanted {
        PixelSize previewSize;
        bool forSink = false;
        bool isMirrored = false;
        std::uint64_t sinkNumber = 0;
    };

    void run();
    void process(const Wanted& wanted);
    void feedSink(const AVFrame& picture, const Wanted& wanted);

    const Handlers handlers_;
    std::mutex mutex_;
    std::condition_variable changed_;
    bool ending_ = false;  // The next three are guarded by the mutex, too.
    bool hasFrame_ = false;
    CameraFrame next_;
    Wanted wanted_;
    std::mutex sinkMutex_;  ///< held while the sink runs
    FrameSink sink_;        // The next two are guarded by it.
    std::uint64_t sinkNumber_ = 0;
    // The thread's.
    CameraFrame frame_;
    media::CameraDecoder decoder_;
    media::CameraConverter converter_;
    std::thread thread_;
};

}  // namespace lumicrate::capture
