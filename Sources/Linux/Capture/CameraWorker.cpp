// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Capture/CameraWorker.h"

#include "Support/Log.h"
#include "Support/MediaTime.h"

#include <exception>
#include <utility>

namespace lumicrate::capture {

CameraWorker::CameraWorker(Handlers handlers) : handlers_(std::move(handlers)) {
    thread_ = std::thread([this] { run(); });
}

CameraWorker::~CameraWorker() {
    {
        const std::lock_guard lock(mutex_);
        ending_ = true;
        changed_.notify_one();
    }
    thread_.join();
}

void CameraWorker::put(CameraFrame& frame) {
    const std::lock_guard lock(mutex_);
    std::swap(next_, frame);
    hasFrame_ = true;
    changed_.notify_one();
}

void CameraWorker::setPreviewSize(PixelSize size) {
    const std::lock_guard lock(mutex_);
    wanted_.previewSize = size;
}

void CameraWorker::setSink(FrameSink sink, bool isMirrored) {
    const std::lock_guard sinkLock(sinkMutex_);
    sink_ = std::move(sink);
    ++sinkNumber_;
    const std::lock_guard lock(mutex_);
    wanted_.forSink = static_cast<bool>(sink_);
    wanted_.isMirrored = isMirrored;
    wanted_.sinkNumber = sinkNumber_;
}

void CameraWorker::run() {
    for (;;) {
        Wanted wanted;
        {
            std::unique_lock lock(mutex_);
            changed_.wait(lock, [this] { return hasFrame_ || ending_; });
            if (ending_) return;
            hasFrame_ = false;
            std::swap(frame_, next_);
            wanted = wanted_;
        }
        try {
            process(wanted);
        } catch (const std::exception& error) {
            log(LogArea::capture, "camera frame dropped: ", error.what());
        }
    }
}

void CameraWorker::process(const Wanted& wanted) {
    const bool forPreview = wanted.previewSize.width > 0 && wanted.previewSize.height > 0;
    const int reduction = wanted.forSink ? 0 : media::reductionFor(frame_, wanted.previewSize);
    const AVFrame* picture = decoder_.decode(frame_, reduction);
    if (!picture) {
        log(LogArea::capture, "camera frame dropped: damaged");
        return;
    }
    if (wanted.forSink) feedSink(*picture, wanted);
    if (forPreview) {
        const RenderedPicture preview = converter_.preview(frame_, *picture, wanted.previewSize);
        if (!preview.pixels) return;
        handlers_.onPreview(preview);
    }
    handlers_.onPicture(frame_.time, media::uprightSize(frame_));
}

void CameraWorker::feedSink(const AVFrame& picture, const Wanted& wanted) {
    CMSampleBuffer sample;
    sample.timing.presentationTimeStamp = CMTime::from(frame_.time);
    sample.imageBuffer = converter_.pixelBuffer(frame_, picture, wanted.isMirrored);
    if (!sample.imageBuffer) return;
    const std::lock_guard lock(sinkMutex_);
    if (sink_ && sinkNumber_ == wanted.sinkNumber) sink_(sample);
}

}  // namespace lumicrate::capture
