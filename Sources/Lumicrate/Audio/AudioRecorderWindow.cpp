// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Audio/AudioRecorderWindow.h"

#include <utility>

namespace lumicrate {

namespace {

constexpr Size contentSize{400, 160};

}  // namespace

AudioRecorderWindow::AudioRecorderWindow(Services services)
    : services_(std::move(services)), self_(std::make_shared<AudioRecorderWindow*>(this)) {}

void AudioRecorderWindow::show(ScreenRecorder& recorder) {
    if (recorder_ != &recorder) follow(recorder);
    window_->makeKeyAndOrderFront();
}

void AudioRecorderWindow::follow(ScreenRecorder& recorder) {
    remove();
    recorder_ = &recorder;
    model_.emplace(recorder, services_.defaults);
    stateChanges_ = recorder.state.observe([this](ScreenRecorder::State) { updateBarLater(); });
    window_ = services_.makeWindow(*this);
    window_->setContentSize(contentSize);
    window_->center();
}

void AudioRecorderWindow::remove() {
    window_.reset();
    stateChanges_ = {};
    model_.reset();
    recorder_ = nullptr;
    updateBar();
}

bool AudioRecorderWindow::windowShouldClose() const {
    if (!recorder_ || *recorder_->state == ScreenRecorder::State::idle) return true;
    services_.beep();
    return false;
}

void AudioRecorderWindow::setVisible(bool visible) {
    if (std::exchange(visible_, visible) == visible) return;
    model_->setVisible(visible);
    updateBarLater();
}

/// The bar reads the recorder's values, which change only after their observers have been called.
void AudioRecorderWindow::updateBarLater() {
    services_.executor.post([weak = std::weak_ptr(self_)] {
        if (const auto self = weak.lock()) (*self)->updateBar();
    });
}

void AudioRecorderWindow::updateBar() {
    const bool isNeeded =
        recorder_ && recorder_->isActive() && *recorder_->pickingMode == CaptureMode::audio && !visible_;
    if (std::exchange(showsBar_, isNeeded) == isNeeded) return;
    if (isNeeded) {
        services_.controlBar.show(std::nullopt, std::nullopt);
    } else {
        services_.controlBar.hide();
    }
}

}  // namespace lumicrate
