// SPDX-License-Identifier: GPL-3.0-or-later
// AudioAtOnce: starts an audio recording at once, in place of an audio window.
#pragma once

#include "Lumicrate/Overlays/RecorderOverlays.h"
#include "Lumicrate/Recording/ScreenRecorder.h"
#include "Support/Executor.h"

namespace lumicrate {

/// Main thread only.
class AudioAtOnce final : public AudioWindowShowing {
 public:
    explicit AudioAtOnce(Executor& executor) : executor_(executor) {}

    /// `recorder` must outlive all work posted to the executor.
    void setRecorder(ScreenRecorder& recorder) { recorder_ = &recorder; }

    void show() override {
        // Posted, because the recorder calls this while it is busy and would ignore another command.
        executor_.post([this] {
            if (recorder_) recorder_->recordAudioNow();
        });
    }

 private:
    Executor& executor_;
    ScreenRecorder* recorder_ = nullptr;
};

}  // namespace lumicrate
