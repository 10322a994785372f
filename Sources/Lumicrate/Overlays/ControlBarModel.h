// SPDX-License-Identifier: GPL-3.0-or-later
// ControlBarModel: what the control bar shows of the running recording, and what its buttons do.
#pragma once

#include "Lumicrate/Recording/ScreenRecorder.h"
#include "Lumicrate/Shortcuts/Shortcut.h"
#include "Platform/NSUserDefaults.h"
#include "Support/Published.h"

#include <functional>
#include <string>
#include <vector>

namespace lumicrate {

/// Main thread only.
class ControlBarModel {
 public:
    struct Content {
        std::string elapsed;
        bool showsMicrophone = false;
        bool muted = false;
        float level = 0;  ///< 0 … 1
        std::string microphoneHelp;
        bool canMute = false;
        bool paused = false;
        std::string pauseHelp;
        bool canPause = false;
        std::string stopHelp;
        bool canStop = false;
        bool operator==(const Content&) const = default;
    };

    /// Both must outlive the model.
    ControlBarModel(ScreenRecorder& recorder, const NSUserDefaults& defaults);

    Published<Content> content;

    void toggleMicrophoneMute() { recorder_.toggleMicrophoneMute(); }
    void togglePause() { recorder_.togglePause(); }
    void stop() { recorder_.requestStop(); }

 private:
    /// Publishes the changed content, unless it is the same.
    void change(const std::function<void(Content&)>& edit);
    void applyState(Content& next, ScreenRecorder::State state) const;
    void updateHelps(Content& next) const;

    ScreenRecorder& recorder_;
    const NSUserDefaults& defaults_;
    std::vector<Subscription> subscriptions_;
};

}  // namespace lumicrate
