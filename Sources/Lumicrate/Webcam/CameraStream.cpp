// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Webcam/CameraStream.h"

#include <algorithm>
#include <utility>

namespace lumicrate {

CameraStream::CameraStream(AVCaptureSession& camera, bool mirrored,
                           const SCStreamConfiguration& configuration, std::unique_ptr<SCStream> sound)
    : camera_(camera), mirrored_(mirrored), configuration_(configuration), sound_(std::move(sound)) {}

CameraStream::~CameraStream() {
    camera_.setOnFrame({}, mirrored_);
}

void CameraStream::addStreamOutput(SCStreamOutput& output, SCStreamOutputType type, DispatchQueue& queue) {
    if (type == SCStreamOutputType::screen) {
        pictures_ = Output{&output, &queue, std::make_shared<std::atomic<int>>(0)};
    }
    // For pictures too: the stream of the sound then waits for this queue when it stops.
    sound_->addStreamOutput(output, type, queue);
}

/// Sound must be running when the first picture arrives, or the movie would begin in silence.
void CameraStream::startCapture(CompletionHandler completion) {
    camera_.setOnFrame(
        [this](const CMSampleBuffer& frame) {
            if (*soundRuns_) deliver(frame);
        },
        mirrored_);
    sound_->startCapture(
        [soundRuns = soundRuns_, completion = std::move(completion)](const std::exception_ptr& error) {
            *soundRuns = !error;
            completion(error);
        });
}

void CameraStream::stopCapture(CompletionHandler completion) {
    camera_.setOnFrame({}, mirrored_);
    sound_->stopCapture(std::move(completion));
}

/// The picture is that of the camera.
void CameraStream::updateConfiguration(const SCStreamConfiguration& configuration,
                                       CompletionHandler completion) {
    sound_->updateConfiguration(configuration, std::move(completion));
}

void CameraStream::deliver(const CMSampleBuffer& frame) {
    const int width = configuration_.width;
    const int height = configuration_.height;
    const auto& picture = frame.imageBuffer;
    if (!pictures_ || !picture || picture->width != width || picture->height != height) return;
    const std::shared_ptr<std::atomic<int>> inFlight = pictures_->inFlight;
    if (!isDue(frame.presentationTimeStamp()) || *inFlight >= configuration_.queueDepth) return;
    CMSampleBuffer sample = frame;
    sample.frameInfo =
        SCStreamFrameInfo{SCFrameStatus::complete, ++sequence_, {PixelRect{0, 0, width, height}}};
    ++*inFlight;
    pictures_->queue->async([output = pictures_->output, sample = std::move(sample), inFlight] {
        output->didOutputSampleBuffer(sample, SCStreamOutputType::screen);
        --*inFlight;
    });
}

/// Thins out a camera that is faster than the configured rate. A quarter of the interval is left for the
/// jitter of a camera that has just that rate, and a hundredth for a clock that differs from ours.
bool CameraStream::isDue(CMTime time) {
    const CMTime interval = configuration_.minimumFrameInterval;
    const CMTime jitter(interval.value(), interval.timescale() * 4);
    const CMTime step(interval.value() * 99, interval.timescale() * 100);
    if (due_.isValid() && time + jitter < due_) return false;
    due_ = due_.isValid() ? std::max(due_ + step, time) : time + step;
    return true;
}

}  // namespace lumicrate
