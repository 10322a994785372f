// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Recording/CaptureSession.h"

#include <utility>

namespace lumicrate {

CaptureSession::CaptureSession(const MovieWriter::Settings& settings, const StreamFactory& makeStream,
                               const SCStreamConfiguration& configuration,
                               const MovieWriter::Services& services, Executor& executor, Handlers handlers)
    : configuration_(configuration),
      executor_(executor),
      handlers_(std::move(handlers)),
      self_(std::make_shared<CaptureSession*>(this)),
      writer_(settings, services, [report = reporter()](const std::exception_ptr& reason) {
          report([reason](const Handlers& known) { known.onInterruption(reason); });
      }) {
    followMicrophone();
    stream_ = makeStream(*this);
    for (const auto type :
         {SCStreamOutputType::screen, SCStreamOutputType::audio, SCStreamOutputType::microphone}) {
        stream_->addStreamOutput(writer_, type, writer_.queue());
    }
}

CaptureSession::~CaptureSession() = default;

void CaptureSession::setHandlers(Handlers handlers) {
    handlers_ = std::move(handlers);
    followMicrophone();
}

void CaptureSession::followMicrophone() {
    if (!handlers_.onMicrophoneLevel) return;
    writer_.setOnMicrophoneLevel([report = reporter()](float level) {
        report([level](const Handlers& known) { known.onMicrophoneLevel(level); });
    });
}

Task<void> CaptureSession::start() {
    const Completion<std::exception_ptr> started(executor_);
    stream_->startCapture([started](std::exception_ptr error) { started.resolve(std::move(error)); });
    const std::exception_ptr error = co_await started;
    if (error) std::rethrow_exception(error);
}

Task<void> CaptureSession::setSourceRect(Rect sourceRect) {
    configuration_.sourceRect = sourceRect;
    const Completion<bool> updated(executor_);
    stream_->updateConfiguration(configuration_,
                                 [updated](const std::exception_ptr&) { updated.resolve(true); });
    co_await updated;
}

void CaptureSession::setCovers(std::vector<Rect> covers) {
    if (covers == configuration_.covers) return;
    configuration_.covers = std::move(covers);
    coversRevision_ = configuration_.revision + 1;
}

/// The order matters: a frame of the new revision is later than the end of the pause.
void CaptureSession::resume() {
    writer_.resume(coversRevision_);
    ++configuration_.revision;
    stream_->updateConfiguration(configuration_, [](const std::exception_ptr&) {});
}

void CaptureSession::setContentFilter(const SCContentFilter& filter) {
    stream_->updateContentFilter(filter, [](const std::exception_ptr&) {});
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

Task<void> CaptureSession::catchUp() {
    const Completion<bool> done(executor_);
    writer_.keepUp();
    writer_.queue().async([done] { done.resolve(true); });
    co_await done;
}

/// Calls a handler from any thread: on the main thread, unless the session is gone by then.
std::function<void(CaptureSession::Report)> CaptureSession::reporter() const {
    return [&executor = executor_, weak = std::weak_ptr(self_)](Report report) {
        executor.post([weak, report = std::move(report)] {
            if (const auto self = weak.lock()) report((*self)->handlers_);
        });
    };
}

void CaptureSession::didNotice(std::string sentence) {
    reporter()([sentence = std::move(sentence)](const Handlers& known) { known.onNotice(sentence); });
}

void CaptureSession::didStopWithError(std::exception_ptr error) {
    reporter()([error = std::move(error)](const Handlers& known) { known.onStopped(error); });
}

}  // namespace lumicrate
