// SPDX-License-Identifier: GPL-3.0-or-later
// AudioRecorderWindow: the small window from which sound alone is recorded.
#pragma once

#include "Lumicrate/Audio/AudioRecorderModel.h"
#include "Lumicrate/Overlays/ControlBarController.h"
#include "Platform/NSUserDefaults.h"
#include "Platform/NSWindow.h"
#include "Support/Executor.h"

#include <functional>
#include <memory>
#include <optional>

namespace lumicrate {

/// The application has one. The window is created when it is first shown; closing it only hides it. While a
/// recording of sound runs and the window is not visible, the control bar takes its place. Main thread only.
class AudioRecorderWindow {
 public:
    using WindowFactory = std::function<std::unique_ptr<NSWindow>(AudioRecorderWindow&)>;

    /// All must outlive this object.
    struct Services {
        Executor& executor;
        NSUserDefaults& defaults;
        ControlBarController& controlBar;
        WindowFactory makeWindow;
        std::function<void()> beep;  ///< NSBeep
    };

    explicit AudioRecorderWindow(Services services);
    AudioRecorderWindow(const AudioRecorderWindow&) = delete;
    AudioRecorderWindow& operator=(const AudioRecorderWindow&) = delete;

    /// Shows the window in front of all others.
    void show(ScreenRecorder& recorder);
    /// Removes the window. Call before the recorder is destroyed.
    void remove();

    // For the window.

    /// Exists as long as the window.
    AudioRecorderModel& model() { return *model_; }
    /// Whether the window may be closed. Beeps if it may not, because a recording is under way.
    bool windowShouldClose() const;
    /// Visible means neither closed nor minimized.
    void setVisible(bool visible);

 private:
    void follow(ScreenRecorder& recorder);
    void updateBarLater();
    void updateBar();

    Services services_;
    std::shared_ptr<AudioRecorderWindow*> self_;  ///< posted work holds it weakly
    ScreenRecorder* recorder_ = nullptr;
    bool visible_ = false;
    bool showsBar_ = false;
    Subscription stateChanges_;
    std::optional<AudioRecorderModel> model_;
    // Destroyed first: it shows the model.
    std::unique_ptr<NSWindow> window_;
};

}  // namespace lumicrate
