// CaptureStream: one capture stream, put together from a source for each kind of sample.
#pragma once

#include "Platform/SampleSource.h"
#include "Platform/ScreenCaptureKit.h"

#include <atomic>
#include <exception>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace lumicrate::capture {

/// Hands what its sources capture to the outputs that were added for its kind, each on its own queue.
///
/// A queue that is far behind gets no further pictures until it has worked some off; sound, being small, is
/// always handed on. A source that fails is reported, and the others go on until the stream is stopped.
class CaptureStream final : public SCStream {
 public:
    using Sources = std::vector<std::pair<SCStreamOutputType, std::unique_ptr<SampleSource>>>;

    /// `delegate` must outlive the stream. `queueDepth` is how many pictures may wait for an output.
    CaptureStream(Sources sources, SCStreamDelegate& delegate, int queueDepth);
    /// Stops what still captures. Work that a queue has been given stays there.
    ~CaptureStream() override;
    CaptureStream(const CaptureStream&) = delete;
    CaptureStream& operator=(const CaptureStream&) = delete;

    void addStreamOutput(SCStreamOutput& output, SCStreamOutputType type, DispatchQueue& queue) override;
    /// Once. Either all sources capture or, when it completes with an error, none does.
    void startCapture(CompletionHandler completion) override;
    /// Completes on one of the outputs' queues, once each of them has worked off all its samples.
    void stopCapture(CompletionHandler completion) override;
    /// Passes the configuration to all sources, also when one refuses; completes with the first refusal.
    void updateConfiguration(const SCStreamConfiguration& configuration,
                             CompletionHandler completion) override;

 private:
    struct Part {
        Part(SCStreamOutputType kind, std::unique_ptr<SampleSource> producer)
            : type(kind), source(std::move(producer)) {}
        SCStreamOutputType type;
        std::unique_ptr<SampleSource> source;
        bool started = false;             ///< main thread
        std::atomic<bool> ended = false;  ///< by itself
    };
    struct Output {
        SCStreamOutput* output;
        SCStreamOutputType type;
        DispatchQueue* queue;
        /// Samples handed to the queue and not yet worked off; the work may outlive the stream.
        std::shared_ptr<std::atomic<int>> inFlight;
    };
    enum class State { idle, starting, capturing, ended };

    std::exception_ptr startParts();
    void stopParts();
    void end();
    void deliver(SCStreamOutputType type, const CMSampleBuffer& sample);
    void partFailed(Part& part, const std::exception_ptr& error);

    std::vector<std::unique_ptr<Part>> parts_;
    SCStreamDelegate& delegate_;
    const int queueDepth_;
    std::vector<Output> outputs_;  ///< does not change once sources run

    std::mutex mutex_;
    State state_ = State::idle;
    std::exception_ptr failure_;  ///< of the first source that ended by itself
};

}  // namespace lumicrate::capture
