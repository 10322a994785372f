// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/X11/Input/PressWatch.h"

#include "Linux/X11/Input/ButtonMapping.h"
#include "Linux/X11/Input/KeyCodes.h"
#include "Linux/X11/Input/KeyboardLayout.h"
#include "Linux/X11/Input/TypedSymbols.h"
#include "Linux/X11/Server/Connection.h"
#include "Linux/X11/Server/EventThread.h"
#include "Support/Log.h"

#include <xcb/xinput.h>

// The header has a member named `explicit`, a keyword of C++.
#define explicit isExplicit
#include <xcb/xkb.h>
#undef explicit

#include <cstdint>
#include <optional>
#include <utility>

namespace lumicrate::x11 {

namespace {

constexpr std::pair<std::uint8_t, std::uint64_t> knownModifiers[] = {
    {XCB_MOD_MASK_CONTROL, NSEvent::controlFlag},
    {XCB_MOD_MASK_1, NSEvent::optionFlag},
    {XCB_MOD_MASK_SHIFT, NSEvent::shiftFlag},
    {XCB_MOD_MASK_4, NSEvent::commandFlag}};

constexpr std::uint64_t commandFlags = NSEvent::controlFlag | NSEvent::optionFlag | NSEvent::commandFlag;

std::uint64_t flagsOf(std::uint8_t modifiers) {
    std::uint64_t flags = 0;
    for (const auto& [modifier, flag] : knownModifiers)
        if ((modifiers & modifier) != 0) flags |= flag;
    return flags;
}

bool isLatin(xcb_keysym_t symbol) {
    return symbol > ' ' && symbol <= '~';
}

std::optional<NSGlobalEvent::Source> sourceOf(std::uint32_t button) {
    using Source = NSGlobalEvent::Source;
    if (button == 1) return Source::leftButton;
    if (button == 2) return Source::middleButton;
    if (button == 3) return Source::rightButton;
    return std::nullopt;
}

class Monitor final : public NSEventMonitor {
 public:
    using Handler = std::function<void(const NSGlobalEvent&)>;

    Monitor(Executor& mainThread, const std::string& displayName, Handler onEvent);

 private:
    void selectEvents();
    void followKeyboard();
    void handleEvent(const xcb_generic_event_t& event);
    void handleState(const xcb_xkb_state_notify_event_t& state);
    void handleRawEvent(const xcb_ge_generic_event_t& event);
    void handleKey(const xcb_input_raw_key_press_event_t& change, bool isUp);
    void handleButton(const xcb_input_raw_button_press_event_t& change, bool isUp);
    NSGlobalEvent keyEvent(std::uint32_t key);
    /// The modifiers that are down, without those that change what the key types.
    std::uint8_t commandModifiers(std::uint32_t key) const;
    xcb_keysym_t latinSymbol(std::uint32_t key, xcb_keysym_t fallback) const;
    void deliver(NSGlobalEvent event);

    Executor& mainThread_;
    std::shared_ptr<Handler> onEvent_;  ///< posted events hold it weakly

    // Guarded by access to events_:
    Connection connection_;
    KeyboardEvents keyboard_;
    std::uint8_t inputOpcode_;
    std::uint8_t keyboardEvent_;
    ButtonMapping buttons_;
    KeyboardLayout layout_;
    KeyCodes codes_;
    std::uint8_t locks_ = 0;  ///< the modifiers of Caps Lock, Num Lock and Scroll Lock
    std::uint8_t modifiers_ = 0;
    std::uint64_t heldFlags_ = 0;  ///< of the modifiers that are down, without latched and locked ones
    unsigned group_ = 0;
    Composition composition_;

    EventThread events_;  // Destroyed first: its thread uses all the others.
};

Monitor::Monitor(Executor& mainThread, const std::string& displayName, Handler onEvent)
    : mainThread_(mainThread),
      onEvent_(std::make_shared<Handler>(std::move(onEvent))),
      connection_(displayName),
      keyboard_(connection_),
      inputOpcode_(connection_.extension(xcb_input_id, "XInputExtension").major_opcode),
      keyboardEvent_(connection_.extension(xcb_xkb_id, "XKEYBOARD").first_event),
      buttons_(connection_),
      events_(connection_, [this](const xcb_generic_event_t& event) { handleEvent(event); }) {
    const auto access = events_.access();
    // Since 2.1, raw events come also while another client has a grab.
    const auto version = connection_.await(xcb_input_xi_query_version_reply,
                                           xcb_input_xi_query_version(connection_.get(), 2, 2));
    log(LogArea::input, "watching presses with XInputExtension ", version->major_version, ".",
        version->minor_version);
    selectEvents();
    followKeyboard();
    const auto state = connection_.await(xcb_xkb_get_state_reply,
                                         xcb_xkb_get_state(connection_.get(), XCB_XKB_ID_USE_CORE_KBD));
    modifiers_ = state->mods;
    heldFlags_ = flagsOf(state->baseMods);
    group_ = state->group;
}

void Monitor::selectEvents() {
    const std::uint16_t states = XCB_XKB_EVENT_TYPE_STATE_NOTIFY;
    const std::uint16_t parts =
        XCB_XKB_STATE_PART_MODIFIER_STATE | XCB_XKB_STATE_PART_MODIFIER_BASE | XCB_XKB_STATE_PART_GROUP_STATE;
    xcb_xkb_select_events_details_t details{};
    details.affectState = details.stateDetails = parts;
    xcb_xkb_select_events_aux(connection_.get(), XCB_XKB_ID_USE_CORE_KBD, states, 0, 0, 0, 0, &details);
    connection_.selectInputEvents(
        XCB_INPUT_XI_EVENT_MASK_RAW_KEY_PRESS | XCB_INPUT_XI_EVENT_MASK_RAW_KEY_RELEASE |
        XCB_INPUT_XI_EVENT_MASK_RAW_BUTTON_PRESS | XCB_INPUT_XI_EVENT_MASK_RAW_BUTTON_RELEASE);
}

void Monitor::followKeyboard() {
    const KeyboardMap map = readKeyboardMap(connection_);
    locks_ = static_cast<std::uint8_t>(readLockModifiers(connection_, map));
    codes_ = KeyCodes(map);
    layout_ = KeyboardLayout(connection_);
}

/// The server announces a change of modifiers, of the group, and of the map (also when another keyboard is
/// used) before the presses that it applies to.
void Monitor::handleEvent(const xcb_generic_event_t& event) {
    const int type = eventType(event);
    if (type == XCB_GE_GENERIC) return handleRawEvent(eventAs<xcb_ge_generic_event_t>(event));
    const auto& state = eventAs<xcb_xkb_state_notify_event_t>(event);
    if (type == keyboardEvent_ && state.xkbType == XCB_XKB_STATE_NOTIFY) {
        handleState(state);
    } else if (keyboard_.isChange(event)) {
        followKeyboard();
    } else {
        buttons_.handleEvent(event, connection_);
    }
}

void Monitor::handleState(const xcb_xkb_state_notify_event_t& state) {
    modifiers_ = state.mods;
    group_ = state.group;
    const std::uint64_t held = flagsOf(state.baseMods);
    if (std::exchange(heldFlags_, held) == held) return;
    NSGlobalEvent change;
    change.source = NSGlobalEvent::Source::modifiers;
    change.event.modifierFlags = held;
    deliver(std::move(change));
}

void Monitor::handleRawEvent(const xcb_ge_generic_event_t& event) {
    if (event.extension != inputOpcode_) return;
    const auto& raw = reinterpret_cast<const xcb_generic_event_t&>(event);
    const bool isUp =
        event.event_type == XCB_INPUT_RAW_KEY_RELEASE || event.event_type == XCB_INPUT_RAW_BUTTON_RELEASE;
    // A release has the layout of a press.
    if (event.event_type == XCB_INPUT_RAW_KEY_PRESS || event.event_type == XCB_INPUT_RAW_KEY_RELEASE)
        handleKey(eventAs<xcb_input_raw_key_press_event_t>(raw), isUp);
    if (event.event_type == XCB_INPUT_RAW_BUTTON_PRESS || event.event_type == XCB_INPUT_RAW_BUTTON_RELEASE)
        handleButton(eventAs<xcb_input_raw_button_press_event_t>(raw), isUp);
}

void Monitor::handleKey(const xcb_input_raw_key_press_event_t& change, bool isUp) {
    if ((change.flags & XCB_INPUT_KEY_EVENT_FLAGS_KEY_REPEAT) != 0) return;
    NSGlobalEvent key = isUp ? NSGlobalEvent() : keyEvent(change.detail);
    key.code = change.detail;
    key.isUp = isUp;
    deliver(std::move(key));
}

void Monitor::handleButton(const xcb_input_raw_button_press_event_t& change, bool isUp) {
    const auto source = sourceOf(buttons_.logical(change.detail));
    if (!source) return;
    NSGlobalEvent button;
    button.source = *source;
    button.isUp = isUp;
    if (!isUp) button.event.modifierFlags = flagsOf(modifiers_);
    deliver(std::move(button));
}

NSGlobalEvent Monitor::keyEvent(std::uint32_t key) {
    const xcb_keysym_t typed = layout_.symbol(key, group_, modifiers_);
    NSGlobalEvent press;
    press.types = typesCharacter(typed);
    press.characters = composition_.next(typed);
    press.event.modifierFlags = flagsOf(press.types ? commandModifiers(key) : modifiers_);
    const unsigned numLock = modifiers_ & locks_ & ~unsigned{XCB_MOD_MASK_LOCK};
    press.symbol = layout_.symbol(key, group_, static_cast<std::uint8_t>(numLock));
    // Layouts such as Neo have arrows on the letters, with a modifier of their own.
    if (!press.types && typesCharacter(press.symbol)) press.symbol = typed;
    if ((press.event.modifierFlags & commandFlags) != 0) press.symbol = latinSymbol(key, press.symbol);
    if (key <= UINT8_MAX) press.event.keyCode = codes_.virtualKeyCodeOf(static_cast<xcb_keycode_t>(key));
    press.event.charactersIgnoringModifiers = charactersOf(press.symbol);
    press.event.keyName = keyNameOf(press.symbol);
    return press;
}

std::uint8_t Monitor::commandModifiers(std::uint32_t key) const {
    unsigned commands = modifiers_;
    const xcb_keysym_t typed = layout_.symbol(key, group_, modifiers_);
    for (const std::uint8_t each : {XCB_MOD_MASK_CONTROL, XCB_MOD_MASK_1, XCB_MOD_MASK_4}) {
        const auto without = static_cast<std::uint8_t>(modifiers_ & ~each);
        if (layout_.symbol(key, group_, without) != typed) commands &= ~unsigned{each};
    }
    return static_cast<std::uint8_t>(commands);
}

/// Programs look up the keys of commands in a Latin layout, if there is one.
xcb_keysym_t Monitor::latinSymbol(std::uint32_t key, xcb_keysym_t fallback) const {
    if (isLatin(fallback) || charactersOf(fallback).empty()) return fallback;
    for (unsigned group = 0; group < KeyboardLayout::maxGroups; ++group) {
        const xcb_keysym_t symbol = layout_.symbol(key, group, 0);
        if (isLatin(symbol)) return symbol;
    }
    return fallback;
}

void Monitor::deliver(NSGlobalEvent event) {
    mainThread_.post([weak = std::weak_ptr(onEvent_), event = std::move(event)] {
        if (const auto onEvent = weak.lock()) (*onEvent)(event);
    });
}

}  // namespace

std::unique_ptr<NSEventMonitor> PressWatch::addGlobalMonitor(
    std::function<void(const NSGlobalEvent&)> onEvent) {
    return std::make_unique<Monitor>(mainThread_, displayName_, std::move(onEvent));
}

}  // namespace lumicrate::x11
