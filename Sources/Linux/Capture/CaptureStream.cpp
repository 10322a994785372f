// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Capture/CaptureStream.h"

#include <algorithm>
#include <set>

namespace lumicrate::capture {

CaptureStream::CaptureStream(Sources sources, SCStreamDelegate& delegate, int queueDepth)
    : delegate_(delegate), queueDepth_(std::max(queueDepth, 1)) {
    for (auto& each : sources)
        parts_.push_back(std::make_unique<Part>(each.first, std::move(each.second)));
    // Sound must be running when the first picture arrives, or the movie would begin in silence.
    std::stable_partition(parts_.begin(), parts_.end(),
                          [](const auto& part) { return part->type != SCStreamOutputType::screen; });
}

CaptureStream::~CaptureStream() {
    stopAnd([] {});
}

void CaptureStream::addStreamOutput(SCStreamOutput& output, SCStreamOutputType type, DispatchQueue& queue) {
    outputs_.push_back({&output, type, &queue, std::make_shared<std::atomic<int>>(0)});
}

void CaptureStream::startCapture(CompletionHandler completion) {
    {
        const std::lock_guard lock(mutex_);
        state_ = State::starting;
    }
    queue_.async([this, completion = std::move(completion)] {
        std::exception_ptr error = startParts();
        {
            const std::lock_guard lock(mutex_);
            if (!error) error = failure_;
            // Unless it was stopped meanwhile.
            if (state_ == State::starting) state_ = error ? State::ended : State::capturing;
        }
        if (error) stopParts();
        completion(error);
    });
}

std::exception_ptr CaptureStream::startParts() {
    const bool hasPicture = !parts_.empty() && parts_.back()->type == SCStreamOutputType::screen;
    for (const auto& each : parts_) {
        Part& part = *each;
        try {
            part.source->start(
                {[this, type = part.type](const CMSampleBuffer& sample) { deliver(type, sample); },
                 [this, &part](const std::exception_ptr& error) { partFailed(part, error); },
                 [this](std::string sentence) { delegate_.didNotice(std::move(sentence)); }});
            part.started = true;
        } catch (...) {
            const std::exception_ptr error = std::current_exception();
            if (!hasPicture || part.type == SCStreamOutputType::screen) return error;
            delegate_.didNotice(localizedDescription(error));
        }
    }
    return nullptr;
}

void CaptureStream::stopParts() {
    // In reverse order, so that no picture is without its sound.
    for (auto part = parts_.rbegin(); part != parts_.rend(); ++part) {
        if (std::exchange((*part)->started, false)) (*part)->source->stop();
    }
}

/// `next` runs on the stream's queue, after the sources have stopped.
void CaptureStream::stopAnd(DispatchQueue::Work next) {
    {
        const std::lock_guard lock(mutex_);
        state_ = State::ended;
    }
    queue_.async([this, next = std::move(next)] {
        stopParts();
        next();
    });
}

void CaptureStream::stopCapture(CompletionHandler completion) {
    stopAnd([this, completion = std::move(completion)] { reportSamplesProcessed(completion); });
}

/// No source delivers any more, so work that is queued now runs after all samples.
void CaptureStream::reportSamplesProcessed(const CompletionHandler& completion) {
    std::set<DispatchQueue*> queues;
    for (const Output& each : outputs_)
        queues.insert(each.queue);
    if (queues.empty()) {
        completion(nullptr);
        return;
    }
    const auto remaining = std::make_shared<std::atomic<std::size_t>>(queues.size());
    for (DispatchQueue* queue : queues) {
        queue->async([remaining, completion] {
            if (remaining->fetch_sub(1) == 1) completion(nullptr);
        });
    }
}

void CaptureStream::updateConfiguration(const SCStreamConfiguration& configuration,
                                        CompletionHandler completion) {
    updateParts([configuration](SampleSource& source) { source.update(configuration); },
                std::move(completion));
}

void CaptureStream::updateContentFilter(const SCContentFilter& filter, CompletionHandler completion) {
    updateParts([filter](SampleSource& source) { source.setFilter(filter); }, std::move(completion));
}

void CaptureStream::updateParts(std::function<void(SampleSource&)> change, CompletionHandler completion) {
    queue_.async([this, change = std::move(change), completion = std::move(completion)] {
        std::exception_ptr firstError;
        bool anyCaptures = false;
        for (const auto& part : parts_) {
            if (!part->started || part->ended) continue;
            anyCaptures = true;
            try {
                change(*part->source);
            } catch (...) {
                if (!firstError) firstError = std::current_exception();
            }
        }
        if (!anyCaptures) {
            firstError = std::make_exception_ptr(SCStreamError(localized("The capture is not running.")));
        }
        completion(firstError);
    });
}

/// On a source's thread.
void CaptureStream::deliver(SCStreamOutputType type, const CMSampleBuffer& sample) {
    for (const Output& each : outputs_) {
        if (each.type != type) continue;
        if (type == SCStreamOutputType::screen && *each.inFlight >= queueDepth_) continue;
        ++*each.inFlight;
        each.queue->async([output = each.output, type, sample, inFlight = each.inFlight] {
            output->didOutputSampleBuffer(sample, type);
            --*inFlight;
        });
    }
}

/// On a source's thread.
void CaptureStream::partFailed(Part& part, const std::exception_ptr& error) {
    part.ended = true;
    {
        const std::lock_guard lock(mutex_);
        if (failure_) return;
        failure_ = error;
        // While starting, startCapture reports the failure.
        if (state_ != State::capturing) return;
    }
    delegate_.didStopWithError(error);
}

}  // namespace lumicrate::capture
