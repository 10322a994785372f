#include "Linux/X11/Input/HotKeys.h"

#include "Support/Error.h"

#include <algorithm>
#include <map>
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

}  // namespace

/// What presses mean; one that comes too late finds it gone, or its combination no longer in it.
struct HotKeys::Delivery {
    std::function<void(EventHotKeyID)> handler;
    std::map<EventHotKeyRef, EventHotKeyID> registered;

    void deliver(EventHotKeyRef ref) const {
        const auto found = registered.find(ref);
        if (found == registered.end() || !handler) return;
        // A copy, for the handler may install another.
        const auto present = handler;
        present(found->second);
    }
};

HotKeys::HotKeys(Executor& mainThread, const std::string& displayName)
    : mainThread_(mainThread),
      delivery_(std::make_shared<Delivery>()),
      connection_(displayName),
      keyboard_(connection_),
      events_(connection_, [this](const xcb_generic_event_t& event) { hear(event); }) {
    const auto access = events_.access();
    followKeyboard();
}

/// The server takes back what a client has when it leaves.
HotKeys::~HotKeys() = default;

void HotKeys::InstallEventHandler(std::function<void(EventHotKeyID)> handler) {
    delivery_->handler = std::move(handler);
}

EventHotKeyRef HotKeys::RegisterEventHotKey(std::uint32_t keyCode, std::uint32_t modifiers,
                                            EventHotKeyID id) {
    try {
        const auto access = events_.access();
        const KeyCombination combination{codes_.keyOf(keyCode), serverModifiers(modifiers)};
        if (combination.key == 0 || isTaken(combination)) return 0;
        if (!grab(connection_, combination, locks_)) return 0;
        hotKeys_.push_back({++lastRef_, keyCode, combination, true});
    } catch (const PlatformError&) {
        return 0;
    }
    delivery_->registered.emplace(lastRef_, id);
    return lastRef_;
}

void HotKeys::UnregisterEventHotKey(EventHotKeyRef hotKey) {
    if (delivery_->registered.erase(hotKey) == 0) return;
    const auto access = events_.access();
    const auto found = std::ranges::find(hotKeys_, hotKey, &HotKey::ref);
    const HotKey gone = *found;
    hotKeys_.erase(found);
    try {
        if (gone.grabbed) ungrab(connection_, gone.combination, locks_);
    } catch (const PlatformError&) {
        // With the server, everything is given back.
    }
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

void HotKeys::hear(const xcb_generic_event_t& event) {
    if (keyboard_.hears(event)) followKeyboard();
    const int type = event.response_type & 0x7f;
    if (type == XCB_KEY_PRESS) press(reinterpret_cast<const xcb_key_press_event_t&>(event));
    if (type == XCB_KEY_RELEASE) release(reinterpret_cast<const xcb_key_release_event_t&>(event).detail);
}

/// A combination has all further keys told to this client until its own key is released; what they have to do
/// with each other, and what is held down, is seen from that.
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
    mainThread_.post([ref = pressed->ref, weak = std::weak_ptr(delivery_)] {
        if (const auto delivery = weak.lock()) delivery->deliver(ref);
    });
}

void HotKeys::release(xcb_keycode_t key) {
    down_[key] = false;
    if (key != firstDown_) return;
    // Releases of other keys are told to others from now on.
    firstDown_ = 0;
    down_.reset();
}

/// Servers announce one change of the layout several times, and changes that are none.
void HotKeys::followKeyboard() {
    map_ = readKeyboardMap(connection_);
    const KeyCodes codes(map_);
    const std::uint16_t locks = readLockModifiers(connection_, map_);
    if (codes == codes_ && locks == locks_) return;
    ungrabAll();
    codes_ = codes;
    locks_ = locks;
    grabAll();
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
    }
}

}  // namespace lumicrate::x11
