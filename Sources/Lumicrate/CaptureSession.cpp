#include "Lumicrate/CaptureSession.h"

#include <utility>

namespace lumicrate {

CaptureSession::CaptureSession(const MovieWriter::Settings& settings, const SCContentFilter& filter,
                               const SCStreamConfiguration& configuration,
                               const MovieWriter::Services& services, ScreenCaptureKit& capture,
                               Executor& executor, Handlers handlers)
    : executor_(executor),
      handlers_(std::move(handlers)),
      self_(std::make_shared<CaptureSession*>(this)),
      writer_(settings, services) {
    if (handlers_.onMicrophoneLevel) {
        writer_.setOnMicrophoneLevel([&executor, weak = std::weak_ptr(self_)](float level) {
            executor.post([weak, level] {
                if (const auto self = weak.lock()) (*self)->handlers_.onMicrophoneLevel(level);
            });
        });
    }
    stream_ = capture.makeStream(filter, configuration, *this);
    for (const auto type :
         {SCStreamOutputType::screen, SCStreamOutputType::audio, SCStreamOutputType::microphone}) {
        stream_->addStreamOutput(writer_, type, writer_.queue());
    }
}

CaptureSession::~CaptureSession() = default;

Task<void> CaptureSession::start() {
    const Completion<std::exception_ptr> started(executor_);
    stream_->startCapture([started](std::exception_ptr error) { started.resolve(std::move(error)); });
    const std::exception_ptr error = co_await started;
    if (error) std::rethrow_exception(error);
}

Task<void> CaptureSession::stop() {
    const Completion<bool> stopped(executor_);
    stream_->stopCapture([stopped](const std::exception_ptr&) { stopped.resolve(true); });
    co_await stopped;
}

Task<void> CaptureSession::finish() {
    const Completion<std::exception_ptr> finished(executor_);
    writer_.finish([finished](std::exception_ptr error) { finished.resolve(std::move(error)); });
    const std::exception_ptr error = co_await finished;
    if (error) std::rethrow_exception(error);
}

void CaptureSession::didStopWithError(std::exception_ptr error) {
    executor_.post([weak = std::weak_ptr(self_), error = std::move(error)] {
        if (const auto self = weak.lock()) (*self)->handlers_.onStopped(error);
    });
}

}  // namespace lumicrate
