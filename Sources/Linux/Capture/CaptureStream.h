// SPDX-License-Identifier: GPL-3.0-or-later
// CaptureStream: a capture stream with one source for each kind of sample.
#pragma once

#include "Platform/SampleSource.h"
#include "Platform/ScreenCaptureKit.h"
#include "Support/DispatchQueue.h"

#include <atomic>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace lumicrate::capture {

/// Passes the samples of its sources to the outputs of the same kind, each on its own queue.
///
/// Pictures for a queue that is too far behind are dropped; sound is always passed on. A failed source is
/// reported; the others continue until the stream is stopped. Sound that does not start is only noticed if
/// there is a picture.
///
/// The sources are started, updated and stopped on a queue of the stream, because a sound server can take
/// seconds to answer.
class CaptureStream final : public SCStream {
 public:
    using Sources = std::vector<std::pair<SCStreamOutputType, std::unique_ptr<SampleSource>>>;

    /// `delegate` must outlive the stream. `queueDepth` is how many pictures may wait for an output.
    CaptureStream(Sources sources, SCStreamDelegate& delegate, int queueDepth);
    /// Stops running sources, and waits for that. Samples that are already in a queue stay there.
    ~CaptureStream() override;
    CaptureStream(const CaptureStream&) = delete;
    CaptureStream& operator=(const CaptureStream&) = delete;

    void addStreamOutput(SCStreamOutput& output, SCStreamOutputType type, DispatchQueue& queue) override;
    /// May be called once. Completes on the stream's queue. When it completes with an error, no source is
    /// running.
    void startCapture(CompletionHandler completion) override;
    /// Completes on one of the outputs' queues, when all of them have processed all samples.
    void stopCapture(CompletionHandler completion) override;
    /// Passes the configuration to all sources, also when one fails; completes with the first error, on the
    /// stream's queue.
    void updateConfiguration(const SCStreamConfiguration& configuration,
                             CompletionHandler completion) override;
    void updateContentFilter(const SCContentFilter& filter, CompletionHandler completion) override;

 private:
    struct Part {
        Part(SCStreamOutputType kind, std::unique_ptr<SampleSource> producer)
            : type(kind), source(std::move(producer)) {}
        SCStreamOutputType type;
        std::unique_ptr<SampleSource> source;
        bool started = false;             ///< on the stream's queue
        std::atomic<bool> ended = false;  ///< it failed
    };
    struct Output {
        SCStreamOutput* output;
        SCStreamOutputType type;
        DispatchQueue* queue;
        /// Samples in the queue that are not processed yet; they may outlive the stream.
        std::shared_ptr<std::atomic<int>> inFlight;
    };
    enum class State { idle, starting, capturing, ended };

    void updateParts(std::function<void(SampleSource&)> change, CompletionHandler completion);
    std::exception_ptr startParts();
    void stopParts();
    void stopAnd(DispatchQueue::Work next);
    void reportSamplesProcessed(const CompletionHandler& completion);
    void deliver(SCStreamOutputType type, const CMSampleBuffer& sample);
    void partFailed(Part& part, const std::exception_ptr& error);

    std::vector<std::unique_ptr<Part>> parts_;
    SCStreamDelegate& delegate_;
    const int queueDepth_;
    std::vector<Output> outputs_;  ///< constant while sources run

    std::mutex mutex_;
    State state_ = State::idle;
    std::exception_ptr failure_;              ///< of the first source that failed
    SerialQueue queue_{"Lumicrate.capture"};  ///< destroyed first: its work uses the rest
};

}  // namespace lumicrate::capture
