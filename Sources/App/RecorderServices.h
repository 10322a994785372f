// SPDX-License-Identifier: GPL-3.0-or-later
// RecorderServices: the recorder and the parts that work for it, wired to the system services.
#pragma once

#include "App/SystemServices.h"
#include "Linux/X11/Input/PointerFollower.h"
#include "Lumicrate/Library/DurationReader.h"
#include "Lumicrate/Library/RecordingFolder.h"
#include "Lumicrate/Movie/SoundFinishing.h"
#include "Lumicrate/Recording/ScreenRecorder.h"
#include "Lumicrate/Replay/Replay.h"
#include "Lumicrate/Shortcuts/HotKeyCenter.h"

#include <optional>

namespace lumicrate::app {

/// What the recorder needs of a desktop session.
struct DesktopServices {
    NSScreens& screens;
    CarbonHotKeys& keys;
    RecorderOverlays overlays;
    WebcamStudio::WindowFactory makeStudioWindow = {};  ///< empty without windows
};

/// The desktop services of the command line: no screens to place panels on, and no global shortcuts, which
/// belong to the desktop application. Every registration is refused.
class HeadlessDesktop {
 public:
    DesktopServices services() { return {screens_, keys_, {}}; }
    /// With overlays on the screens of a desktop.
    DesktopServices services(NSScreens& screens, const RecorderOverlays& overlays) {
        return {screens, keys_, overlays};
    }

 private:
    class NoScreens final : public NSScreens {
     public:
        std::vector<NSScreen> screens() const override { return {}; }
        Point mouseLocation() const override { return {}; }
    };
    class NoHotKeys final : public CarbonHotKeys {
     public:
        void InstallEventHandler(std::function<void(EventHotKeyID)>) override {}
        EventHotKeyRef RegisterEventHotKey(std::uint32_t, std::uint32_t, EventHotKeyID,
                                           const HotKeyPurpose&) override {
            return 0;
        }
        void UnregisterEventHotKey(EventHotKeyRef) override {}
        bool hasKey(std::uint32_t) override { return true; }
        void setOnLayoutChange(std::function<void()>) override {}
    };

    NoScreens screens_;
    NoHotKeys keys_;
};

/// Members are public and in the order of their dependencies. Main thread.
class RecorderServices {
 public:
    /// Both must outlive it.
    RecorderServices(SystemServices& system, const DesktopServices& desktop);
    RecorderServices(const RecorderServices&) = delete;
    RecorderServices& operator=(const RecorderServices&) = delete;

    std::optional<x11::PointerFollower> pointer;  ///< where the desktop tells of the pointer
    HotKeyCenter hotKeys;
    RecordingFolder folder;
    SoundFinisher sound;
    ScreenRecorder recorder;
};

/// What the replay needs of the same parts.
Replay::Services replayServices(SystemServices& system, RecorderServices& services);

/// Reads the durations of movies for the recording library, on up to four threads.
DurationReader::Readers lengthReaders();

}  // namespace lumicrate::app
