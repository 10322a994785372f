// What the command line has none of: screens to place panels on, and global shortcuts.
#pragma once

#include "Platform/CarbonHotKeys.h"
#include "Platform/NSScreen.h"

namespace lumicrate::app {

class NoScreens final : public NSScreens {
 public:
    std::vector<NSScreen> screens() const override { return {}; }
    Point mouseLocation() const override { return {}; }
};

/// Refuses every combination: the keys belong to the desktop app, not to a single recording.
class NoHotKeys final : public CarbonHotKeys {
 public:
    void InstallEventHandler(std::function<void(EventHotKeyID)>) override {}
    EventHotKeyRef RegisterEventHotKey(std::uint32_t, std::uint32_t, EventHotKeyID) override { return 0; }
    void UnregisterEventHotKey(EventHotKeyRef) override {}
};

struct Headless {
    NoScreens screens;
    NoHotKeys keys;
};

}  // namespace lumicrate::app
