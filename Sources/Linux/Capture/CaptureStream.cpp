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
    end();
}

void CaptureStream::addStreamOutput(SCStreamOutput& output, SCStreamOutputType type, DispatchQueue& queue) {
    outputs_.push_back({&output, type, &queue, std::make_shared<std::atomic<int>>(0)});
}

void CaptureStream::startCapture(CompletionHandler completion) {
    {
        const std::lock_guard lock(mutex_);
        state_ = State::starting;
    }
    std::exception_ptr error = startParts();
    {
        const std::lock_guard lock(mutex_);
        if (!error) error = failure_;
        state_ = error ? State::ended : State::capturing;
    }
    if (error) stopParts();
    completion(error);
}

std::exception_ptr CaptureStream::startParts() {
    for (const auto& each : parts_) {
        Part& part = *each;
        try {
            part.source->start(
                {[this, type = part.type](const CMSampleBuffer& sample) { deliver(type, sample); },
                 [this, &part](const std::exception_ptr& error) { partFailed(part, error); },
                 [this](std::string sentence) { delegate_.didNotice(std::move(sentence)); }});
        } catch (...) {
            return std::current_exception();
        }
        part.started = true;
    }
    return nullptr;
}

void CaptureStream::stopParts() {
    // In reverse order, so that no picture is without its sound.
    for (auto part = parts_.rbegin(); part != parts_.rend(); ++part) {
        if (std::exchange((*part)->started, false)) (*part)->source->stop();
    }
}

void CaptureStream::end() {
    {
        const std::lock_guard lock(mutex_);
        state_ = State::ended;
    }
    stopParts();
}

void CaptureStream::stopCapture(CompletionHandler completion) {
    end();
    // No source delivers any more, so work that is queued now runs after all samples.
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
    std::exception_ptr firstError;
    bool anyCaptures = false;
    for (const auto& part : parts_) {
        if (!part->started || part->ended) continue;
        anyCaptures = true;
        try {
            part->source->update(configuration);
        } catch (...) {
            if (!firstError) firstError = std::current_exception();
        }
    }
    if (!anyCaptures) {
        firstError = std::make_exception_ptr(SCStreamError(localized("The capture is not running.")));
    }
    completion(firstError);
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
