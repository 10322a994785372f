// HotKeyCenter: what the system-wide key combinations do.
#pragma once

#include "Lumicrate/Shortcuts/Shortcut.h"
#include "Platform/CarbonHotKeys.h"
#include "Platform/NSUserDefaults.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace lumicrate {

/// Keeps the registered combinations and runs their actions. Main thread only.
class HotKeyCenter {
 public:
    using Action = std::function<void()>;

    /// `keys` must outlive the centre.
    explicit HotKeyCenter(CarbonHotKeys& keys);
    /// Gives all combinations back.
    ~HotKeyCenter();
    HotKeyCenter(const HotKeyCenter&) = delete;
    HotKeyCenter& operator=(const HotKeyCenter&) = delete;

    /// Binds a combination, given as virtual key code and modifier mask, both of which must fit 32 bits
    /// without a sign. False, and nothing changed, when the system refuses it.
    bool registerHotKey(std::int64_t keyCode, std::int64_t modifiers, Action action);
    /// Gives all combinations back and forgets what they did.
    void unregisterAll();

 private:
    using Actions = std::map<std::uint32_t, Action>;

    void installHandler();

    CarbonHotKeys& keys_;
    // Shared with the handler, which stays installed for as long as the system keeps it.
    std::shared_ptr<Actions> actions_ = std::make_shared<Actions>();
    std::vector<EventHotKeyRef> refs_;
    bool handlerInstalled_ = false;
};

/// Binds the stored shortcut of every action, in place of all that was bound before. Gives the display texts
/// of those that the system refused.
std::vector<std::string> bindShortcuts(HotKeyCenter& center, const NSUserDefaults& defaults,
                                       const std::function<void(ShortcutAction)>& perform);

}  // namespace lumicrate
