// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Capture/CastSource.h"

#include <utility>

namespace lumicrate::capture {

void CastSource::Lifeline::end(const std::exception_ptr& error) {
    // The lock is held during the call, so that stop() returns only after it.
    const std::lock_guard lock(mutex_);
    if (const FailureHandler report = std::exchange(onFailure_, nullptr)) report(error);
}

CastSource::CastSource(std::unique_ptr<SampleSource> pictures, PicturesEndedHandler onPicturesEnded)
    : onPicturesEnded_(std::move(onPicturesEnded)), pictures_(std::move(pictures)) {}

CastSource::~CastSource() {
    stop();
}

void CastSource::start(Handlers handlers) {
    {
        const std::lock_guard lock(lifeline_->mutex_);
        lifeline_->onFailure_ = std::move(handlers.onFailure);
    }
    handlers.onFailure = [lifeline = lifeline_, ended = onPicturesEnded_](const std::exception_ptr& error) {
        ended(lifeline, error);
    };
    pictures_->start(std::move(handlers));
}

void CastSource::stop() {
    {
        const std::lock_guard lock(lifeline_->mutex_);
        lifeline_->onFailure_ = nullptr;
    }
    pictures_->stop();
}

}  // namespace lumicrate::capture
