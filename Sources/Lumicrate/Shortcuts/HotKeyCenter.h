// SPDX-License-Identifier: GPL-3.0-or-later
// HotKeyCenter: the actions of the system-wide key combinations.
#pragma once

#include "Platform/CarbonHotKeys.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

namespace lumicrate {

/// Main thread only.
class HotKeyCenter {
 public:
    using Action = std::function<void()>;

    /// `keys` must outlive the centre.
    explicit HotKeyCenter(CarbonHotKeys& keys) : keys_(keys) {}
    /// Unregisters all combinations.
    ~HotKeyCenter();
    HotKeyCenter(const HotKeyCenter&) = delete;
    HotKeyCenter& operator=(const HotKeyCenter&) = delete;

    /// Registers a combination: a virtual key code and a modifier mask, both in the range of uint32. False,
    /// and no effect, if the system refuses it.
    bool registerHotKey(std::int64_t keyCode, std::int64_t modifiers, Action action);
    void unregisterAll();

 private:
    struct Binding {
        EventHotKeyRef ref;
        Action action;
    };

    void installHandler();

    CarbonHotKeys& keys_;
    // The binding at index i has the id i + 1. Shared with the handler, which stays installed.
    std::shared_ptr<std::vector<Binding>> bindings_ = std::make_shared<std::vector<Binding>>();
    bool handlerInstalled_ = false;
};

}  // namespace lumicrate
