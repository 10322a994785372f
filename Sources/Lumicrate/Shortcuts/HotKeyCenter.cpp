// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Shortcuts/HotKeyCenter.h"

#include <cstdlib>
#include <limits>
#include <utility>

namespace lumicrate {

namespace {

/// "LUMI", which identifies our registrations.
constexpr std::uint32_t signature = 0x4C554D49;

std::uint32_t narrowed(std::int64_t number) {
    if (number < 0 || number > std::numeric_limits<std::uint32_t>::max()) std::abort();
    return static_cast<std::uint32_t>(number);
}

}  // namespace

HotKeyCenter::~HotKeyCenter() {
    unregisterAll();
}

bool HotKeyCenter::registerHotKey(std::int64_t keyCode, std::int64_t modifiers, const HotKeyPurpose& purpose,
                                  Action action) {
    if (!handlerInstalled_) installHandler();
    *registers_ = true;
    const EventHotKeyID id{signature, static_cast<std::uint32_t>(bindings_->size() + 1)};
    const EventHotKeyRef ref = keys_.RegisterEventHotKey(narrowed(keyCode), narrowed(modifiers), id, purpose);
    if (ref == 0) return false;
    bindings_->push_back({ref, std::move(action)});
    return true;
}

void HotKeyCenter::unregisterAll() {
    for (const Binding& each : *bindings_)
        keys_.UnregisterEventHotKey(each.ref);
    bindings_->clear();
    *registers_ = false;
}

bool HotKeyCenter::hasKey(std::int64_t keyCode) const {
    return keys_.hasKey(narrowed(keyCode));
}

void HotKeyCenter::setOnLayoutChange(Action changed) {
    keys_.setOnLayoutChange([weak = std::weak_ptr(registers_), changed = std::move(changed)] {
        const auto registers = weak.lock();
        if (registers && *registers) changed();
    });
}

void HotKeyCenter::installHandler() {
    handlerInstalled_ = true;
    keys_.InstallEventHandler([weak = std::weak_ptr(bindings_)](EventHotKeyID pressed) {
        const auto bindings = weak.lock();
        if (!bindings || pressed.signature != signature) return;
        if (pressed.id == 0 || pressed.id > bindings->size()) return;
        // A copy: the action may change the bindings.
        const Action action = (*bindings)[pressed.id - 1].action;
        action();
    });
}

}  // namespace lumicrate
