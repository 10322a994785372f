// SPDX-License-Identifier: GPL-3.0-or-later
// KeystrokeDisplay: shows pressed keys in a row of capsules inside the recorded part of the screen.
#pragma once

#include "Lumicrate/Overlays/KeystrokeLabel.h"
#include "Lumicrate/Overlays/OverlayContents.h"
#include "Lumicrate/Recording/RecordingOptions.h"
#include "Platform/NSEvent.h"
#include "Platform/NSUserDefaults.h"
#include "Support/Executor.h"
#include "Support/Geometry.h"
#include "Support/Published.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace lumicrate {

/// What one capsule shows.
struct Keystroke {
    KeystrokeLabel label;
    int count = 1;  ///< presses in a row
    bool operator==(const Keystroke&) const = default;
};

struct KeystrokeRow {
    std::vector<Keystroke> keys;  ///< the oldest first; at most three
    double opacity = 1;           ///< 0 … 1
    bool operator==(const KeystrokeRow&) const = default;
};

/// What the panel shows. Size and place are constant while a panel lives.
struct Keystrokes {
    Published<KeystrokeRow> row;
    KeysSize size = KeysSize::medium;
    KeysPlace place = KeysPlace::bottom;
};

namespace keystrokes {

/// The height of the row, points.
double rowHeight(KeysSize size);
/// The row's frame inside a recorded part, which may be too small for it. Global points, y up.
Rect rowFrame(const Rect& recorded, KeysSize size, KeysPlace place);

}  // namespace keystrokes

/// The row is shown while the last key or its modifiers are held down and until 1.5 s after the last press,
/// and fades. A press that repeats the last one is counted. Modifiers that are held down alone are shown
/// after a while. One panel is used for all, so that capture knows it by one window number: a single point
/// while nothing is shown. A timer runs only while something is. The recorder's own shortcuts are not shown.
/// Main thread only.
class KeystrokeDisplay final {
 public:
    /// All must outlive the display.
    KeystrokeDisplay(Executor& executor, const NSUserDefaults& defaults, NSGlobalMonitoring& presses,
                     OverlayContents& contents);
    ~KeystrokeDisplay();
    KeystrokeDisplay(const KeystrokeDisplay&) = delete;
    KeystrokeDisplay& operator=(const KeystrokeDisplay&) = delete;

    /// `recorded`: the part of the screen that is recorded, global points, y up. Returns why keys cannot be
    /// shown; empty on success.
    std::string show(const RecordingOptions& options, const Rect& recorded);
    /// The recorded part has moved. No effect while hidden.
    void move(const Rect& recorded);
    void hide();
    /// `sink` receives the text of each press that is shown, when it is. An empty function disables it.
    void setOnShown(std::function<void(const std::string&)> sink) { onShown_ = std::move(sink); }
    /// The row then disappears at once.
    void setReducedMotion(bool reduced) { isMotionReduced_ = reduced; }
    /// None while hidden.
    std::optional<std::uint32_t> windowNumber() const { return windowNumberOf(panel_); }

 private:
    void handle(const NSGlobalEvent& event);
    void pressed(const NSGlobalEvent& press);
    void modifiersChanged(const NSEvent& now);
    void showModifiers();
    void show(const KeystrokeLabel& label);
    bool isHeld() const;
    void fadeUnlessHeld();
    bool isOwnShortcut(const NSGlobalEvent& press) const;
    void fade(std::chrono::nanoseconds passed);
    void scheduleFade(std::chrono::nanoseconds delay, std::chrono::nanoseconds passed);
    void publish(KeystrokeRow row);
    void cancel(std::optional<Executor::TimerId>& timer);

    Executor& executor_;
    const NSUserDefaults& defaults_;
    NSGlobalMonitoring& presses_;
    OverlayContents& contents_;
    Rect recorded_;
    bool showsTypedText_ = false;
    bool isMotionReduced_ = false;
    std::function<void(const std::string&)> onShown_;
    Keystrokes model_;
    std::unique_ptr<NSPanel> panel_;
    std::unique_ptr<NSEventMonitor> monitor_;
    std::optional<Executor::TimerId> timer_;
    std::optional<Executor::TimerId> modifiersTimer_;  ///< they are shown when it ends
    NSEvent modifiers_;                                ///< those that are held down
    std::uint64_t shownModifiers_ = 0;                 ///< of the last press that is shown
    struct HeldKey {
        NSGlobalEvent::Source source;
        std::uint32_t code;
    };
    std::optional<HeldKey> heldKey_;  ///< the one of that press
};

}  // namespace lumicrate
