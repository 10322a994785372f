// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/X11/Input/HotKeys.h"

#include "Support/Error.h"
#include "Support/Log.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <utility>

namespace lumicrate::x11 {

namespace {

struct KnownModifier {
    std::uint32_t mask;
    std::uint16_t modifier;
};
constexpr KnownModifier knownModifiers[] = {
    {0x100, XCB_MOD_MASK_4},  // command
    {0x200, XCB_MOD_MASK_SHIFT},
    {0x800, XCB_MOD_MASK_1},  // option
    {0x1000, XCB_MOD_MASK_CONTROL},
};

std::uint16_t serverModifiers(std::uint32_t mask) {
    unsigned modifiers = 0;
    for (const KnownModifier& each : knownModifiers)
        if ((mask & each.mask) != 0) modifiers |= each.modifier;
    return static_cast<std::uint16_t>(modifiers);
}

/// X grabs match modifiers exactly, so a combination has to be grabbed with every subset of the locks. For
/// example, Alt+R with Caps Lock and Num Lock takes four grabs.
std::vector<std::uint16_t> variants(const KeyCombination& combination, std::uint16_t locks) {
    std::vector<std::uint16_t> all{combination.modifiers};
    for (unsigned bit = 1; bit <= XCB_MOD_MASK_5; bit <<= 1U) {
        if ((locks & bit) == 0 || (combination.modifiers & bit) != 0) continue;
        const std::size_t count = all.size();
        for (std::size_t i = 0; i < count; ++i)
            all.push_back(static_cast<std::uint16_t>(all[i] | bit));
    }
    return all;
}

/// Releases what grab() took with the same locks.
void ungrab(const Connection& connection, const KeyCombination& combination, std::uint16_t locks) {
    for (const std::uint16_t modifiers : variants(combination, locks))
        xcb_ungrab_key(connection.get(), combination.key, connection.root(), modifiers);
    connection.flush();
}

/// False, and nothing is taken, if another client has the combination with any of the locks. Throws
/// PlatformError if the connection is lost.
bool grab(const Connection& connection, const KeyCombination& combination, std::uint16_t locks) {
    const auto all = variants(combination, locks);
    std::vector<xcb_void_cookie_t> cookies;
    for (const std::uint16_t modifiers : all) {
        cookies.push_back(xcb_grab_key_checked(connection.get(), 0, connection.root(), modifiers,
                                               combination.key, XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC));
    }
    // All requests are sent before the first reply is awaited.
    const auto refused = std::count_if(cookies.begin(), cookies.end(), [&](xcb_void_cookie_t cookie) {
        return !connection.succeeds(cookie);
    });
    if (refused == 0) return true;
    ungrab(connection, combination, locks);
    return false;
}

}  // namespace

HotKeys::HotKeys(Executor& mainThread, const std::string& displayName)
    : mainThread_(mainThread),
      self_(std::make_shared<HotKeys*>(this)),
      connection_(displayName),
      keyboard_(connection_),
      events_(connection_, [this](const xcb_generic_event_t& event) { handleEvent(event); }) {
    const auto access = events_.access();
    followKeyboard();
}

/// The server releases the grabs of a client that disconnects.
HotKeys::~HotKeys() = default;

void HotKeys::InstallEventHandler(std::function<void(EventHotKeyID)> handler) {
    handler_ = std::move(handler);
}

EventHotKeyRef HotKeys::RegisterEventHotKey(std::uint32_t keyCode, std::uint32_t modifiers, EventHotKeyID id,
                                            const HotKeyPurpose&) {
    try {
        const auto access = events_.access();
        const KeyCombination combination{codes_.keyOf(keyCode), serverModifiers(modifiers)};
        if (combination.key == 0) {
            log(LogArea::input, "no key has the virtual key code ", keyCode);
            return 0;
        }
        if (isTaken(combination) || !grab(connection_, combination, locks_)) return 0;
        hotKeys_.push_back({++lastRef_, id, keyCode, combination, true});
        return lastRef_;
    } catch (const PlatformError&) {
        return 0;
    }
}

void HotKeys::UnregisterEventHotKey(EventHotKeyRef hotKey) {
    const auto access = events_.access();
    const auto found = std::ranges::find(hotKeys_, hotKey, &HotKey::ref);
    if (found == hotKeys_.end()) return;
    const HotKey removed = *found;
    hotKeys_.erase(found);
    try {
        if (removed.grabbed) ungrab(connection_, removed.combination, locks_);
    } catch (const PlatformError&) {
        // The connection is lost, and the grab with it.
    }
}

bool HotKeys::hasKey(std::uint32_t keyCode) {
    const auto access = events_.access();
    return codes_.keyOf(keyCode) != 0;
}

std::int64_t HotKeys::virtualKeyCodeOf(std::uint32_t key) {
    if (key > UINT8_MAX) return -1;
    const auto access = events_.access();
    return codes_.virtualKeyCodeOf(static_cast<xcb_keycode_t>(key));
}

std::uint32_t HotKeys::keysymOf(std::uint32_t key) {
    const auto access = events_.access();
    return map_.symbol(static_cast<int>(key), 0);
}

bool HotKeys::isTaken(const KeyCombination& combination) const {
    return std::ranges::any_of(
        hotKeys_, [&](const HotKey& each) { return each.grabbed && each.combination == combination; });
}

void HotKeys::handleEvent(const xcb_generic_event_t& event) {
    if (keyboard_.isChange(event)) followKeyboard();
    if (eventType(event) == XCB_KEY_PRESS) press(eventAs<xcb_key_press_event_t>(event));
    if (eventType(event) == XCB_KEY_RELEASE) release(eventAs<xcb_key_release_event_t>(event).detail);
}

/// A passive grab that has become active sends all key events to this client until its key is released. So
/// `down_` knows every key that is pressed meanwhile, and a repeated press can be told from a new one.
void HotKeys::press(const xcb_key_press_event_t& event) {
    if (down_[event.detail]) return;
    down_[event.detail] = true;
    if (firstDown_ == 0) firstDown_ = event.detail;
    const auto modifiers = static_cast<std::uint16_t>(event.state & 0xff & ~locks_);
    const auto pressed = std::ranges::find_if(hotKeys_, [&](const HotKey& each) {
        const auto without = static_cast<std::uint16_t>(each.combination.modifiers & ~locks_);
        return each.grabbed && each.combination.key == event.detail && without == modifiers;
    });
    if (pressed == hotKeys_.end()) return;
    mainThread_.post([ref = pressed->ref, weak = std::weak_ptr(self_)] {
        if (const auto self = weak.lock()) (*self)->deliver(ref);
    });
}

/// No effect if the combination was unregistered after the press.
void HotKeys::deliver(EventHotKeyRef ref) {
    std::optional<EventHotKeyID> id;
    {
        const auto access = events_.access();
        const auto found = std::ranges::find(hotKeys_, ref, &HotKey::ref);
        if (found != hotKeys_.end()) id = found->id;
    }
    if (!id || !handler_) return;
    // A copy: the handler may install another one.
    const auto handler = handler_;
    handler(*id);
}

void HotKeys::release(xcb_keycode_t key) {
    down_[key] = false;
    if (key != firstDown_) return;
    // The grab has ended: releases of other keys are no longer reported.
    firstDown_ = 0;
    down_.reset();
}

/// Servers report one change of the layout several times, and also when nothing has changed.
void HotKeys::followKeyboard() {
    map_ = readKeyboardMap(connection_);
    const KeyCodes codes(map_);
    const std::uint16_t locks = readLockModifiers(connection_, map_);
    if (codes == codes_ && locks == locks_) return;
    log(LogArea::input, "keyboard layout read, lock modifiers ", int{locks});
    ungrabAll();
    codes_ = codes;
    locks_ = locks;
    grabAll();
    mainThread_.post([weak = std::weak_ptr(self_)] {
        const auto self = weak.lock();
        if (!self || !(*self)->layoutChanged_) return;
        // A copy: the handler may set another one.
        const auto changed = (*self)->layoutChanged_;
        changed();
    });
}

void HotKeys::ungrabAll() {
    for (HotKey& each : hotKeys_)
        if (std::exchange(each.grabbed, false)) ungrab(connection_, each.combination, locks_);
}

void HotKeys::grabAll() {
    for (HotKey& each : hotKeys_) {
        each.combination.key = codes_.keyOf(each.keyCode);
        each.grabbed = each.combination.key != 0 && !isTaken(each.combination) &&
                       grab(connection_, each.combination, locks_);
        if (!each.grabbed)
            log(LogArea::input, "virtual key code ", each.keyCode, " is not available in this layout");
    }
}

}  // namespace lumicrate::x11
