// AudioAtOnce: records sound without a window to begin it from.
#pragma once

#include "Lumicrate/Overlays/RecorderOverlays.h"
#include "Lumicrate/Recording/ScreenRecorder.h"
#include "Support/Executor.h"

namespace lumicrate {

/// Main thread only.
class AudioAtOnce final : public AudioWindowShowing {
 public:
    explicit AudioAtOnce(Executor& executor) : executor_(executor) {}

    /// It must outlive the executor's last turn.
    void setRecorder(ScreenRecorder& recorder) { recorder_ = &recorder; }

    void show() override {
        // The recorder asks in the middle of its own work, and takes no other before that is over.
        executor_.post([this] {
            if (recorder_) recorder_->recordAudioNow();
        });
    }

 private:
    Executor& executor_;
    ScreenRecorder* recorder_ = nullptr;
};

}  // namespace lumicrate
