#include "Lumicrate/Shortcuts/HotKeyCenter.h"

#include <cstdlib>
#include <limits>
#include <utility>

namespace lumicrate {

namespace {

/// "LUMI", which marks a press as one of ours.
constexpr std::uint32_t signature = 0x4C554D49;

std::uint32_t narrowed(std::int64_t number) {
    if (number < 0 || number > std::numeric_limits<std::uint32_t>::max()) std::abort();
    return static_cast<std::uint32_t>(number);
}

}  // namespace

HotKeyCenter::HotKeyCenter(CarbonHotKeys& keys) : keys_(keys) {}

HotKeyCenter::~HotKeyCenter() {
    unregisterAll();
}

bool HotKeyCenter::registerHotKey(std::int64_t keyCode, std::int64_t modifiers, Action action) {
    if (!handlerInstalled_) installHandler();
    const EventHotKeyID id{signature, static_cast<std::uint32_t>(actions_->size() + 1)};
    const EventHotKeyRef ref = keys_.RegisterEventHotKey(narrowed(keyCode), narrowed(modifiers), id);
    if (ref == 0) return false;
    actions_->emplace(id.id, std::move(action));
    refs_.push_back(ref);
    return true;
}

void HotKeyCenter::unregisterAll() {
    for (const EventHotKeyRef ref : refs_)
        keys_.UnregisterEventHotKey(ref);
    refs_.clear();
    actions_->clear();
}

void HotKeyCenter::installHandler() {
    handlerInstalled_ = true;
    keys_.InstallEventHandler([actions = std::weak_ptr(actions_)](EventHotKeyID pressed) {
        const auto known = actions.lock();
        if (!known || pressed.signature != signature) return;
        const auto found = known->find(pressed.id);
        if (found == known->end()) return;
        // A copy, for an action may bind anew.
        const Action action = found->second;
        action();
    });
}

std::vector<std::string> bindShortcuts(HotKeyCenter& center, const NSUserDefaults& defaults,
                                       const std::function<void(ShortcutAction)>& perform) {
    center.unregisterAll();
    std::vector<std::string> refused;
    for (const ShortcutAction action : allCases<ShortcutAction>()) {
        const auto bound = shortcut(action, defaults);
        if (!bound) continue;
        const bool accepted =
            center.registerHotKey(bound->keyCode, bound->modifiers, [perform, action] { perform(action); });
        if (!accepted) refused.push_back(bound->display());
    }
    return refused;
}

}  // namespace lumicrate
