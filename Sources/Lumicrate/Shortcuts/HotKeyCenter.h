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
    bool registerHotKey(std::int64_t keyCode, std::int64_t modifiers, const HotKeyPurpose& purpose,
                        Action action);
    void unregisterAll();

    /// See CarbonHotKeys::assignment().
    const Published<HotKeyAssignment>* assignment() const { return keys_.assignment(); }
    /// Whether the keyboard has the key at all, after a refusal.
    bool hasKey(std::int64_t keyCode) const;
    /// `changed` is called when the keyboard's layout has changed, but not between unregisterAll and the next
    /// registration.
    void setOnLayoutChange(Action changed);

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
    /// Whether a registration was tried since unregisterAll. Shared with the handler of layout changes.
    std::shared_ptr<bool> registers_ = std::make_shared<bool>(false);
};

}  // namespace lumicrate
