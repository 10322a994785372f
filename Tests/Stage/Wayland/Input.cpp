// SPDX-License-Identifier: GPL-3.0-or-later
#include "Tests/Stage/Wayland/Input.h"

#include "Tests/Stage/ChildProcess.h"
#include "Tests/Stage/Wayland/Connection.h"

#include <linux/input-event-codes.h>
#include <sys/mman.h>
#include <unistd.h>
#include <virtual-input-client.h>

#include <chrono>
#include <stdexcept>
#include <string_view>

namespace lumicrate::stage {

namespace {

/// The compositor resolves the includes.
constexpr std::string_view americanKeymap = R"xkb(xkb_keymap {
    xkb_keycodes { include "evdev+aliases(qwerty)"
};
xkb_types{include "complete"};
xkb_compatibility{include "complete"};
xkb_symbols{include "pc+us+inet(evdev)"};
};
)xkb";

std::uint32_t milliseconds() {
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<std::uint32_t>(std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
}

/// The mask of a modifier key in that keymap; 0 for other keys.
std::uint32_t modifierOf(std::uint32_t code) {
    switch (code) {
        case KEY_LEFTSHIFT:
            return 1U << 0;
        case KEY_LEFTCTRL:
            return 1U << 2;
        case KEY_LEFTALT:
            return 1U << 3;
        case KEY_LEFTMETA:
            return 1U << 6;
        default:
            return 0;
    }
}

class WlrootsInput final : public VirtualInput {
 public:
    explicit WlrootsInput(const std::string& displayName);

    void setButton(std::uint32_t button, bool isPressed) override;
    void setKey(std::uint32_t code, bool isPressed) override;

 private:
    void moveBy(double dx, double dy) override;

    WaylandConnection connection_;
    zwlr_virtual_pointer_v1* pointer_;
    zwp_virtual_keyboard_v1* keyboard_;
    std::uint32_t modifiers_ = 0;
};

WlrootsInput::WlrootsInput(const std::string& displayName) : connection_(displayName) {
    auto* const seat = connection_.bind<wl_seat>(wl_seat_interface, 1);
    pointer_ = connection_.keep(zwlr_virtual_pointer_manager_v1_create_virtual_pointer(
        connection_.bind<zwlr_virtual_pointer_manager_v1>(zwlr_virtual_pointer_manager_v1_interface, 1),
        seat));
    keyboard_ = connection_.keep(zwp_virtual_keyboard_manager_v1_create_virtual_keyboard(
        connection_.bind<zwp_virtual_keyboard_manager_v1>(zwp_virtual_keyboard_manager_v1_interface, 1),
        seat));
    const Descriptor file(memfd_create("keymap", MFD_CLOEXEC));
    const auto size = americanKeymap.size() + 1;  // with the null byte
    if (write(file.get(), americanKeymap.data(), size) != static_cast<ssize_t>(size))
        throw std::runtime_error("The keymap cannot be written");
    zwp_virtual_keyboard_v1_keymap(keyboard_, WL_KEYBOARD_KEYMAP_FORMAT_XKB_V1, file.get(),
                                   static_cast<std::uint32_t>(size));
    connection_.sync();
}

void WlrootsInput::moveBy(double dx, double dy) {
    zwlr_virtual_pointer_v1_motion(pointer_, milliseconds(), wl_fixed_from_double(dx),
                                   wl_fixed_from_double(dy));
    zwlr_virtual_pointer_v1_frame(pointer_);
    connection_.sync();
}

void WlrootsInput::setButton(std::uint32_t button, bool isPressed) {
    zwlr_virtual_pointer_v1_button(pointer_, milliseconds(), button, isPressed ? 1 : 0);
    zwlr_virtual_pointer_v1_frame(pointer_);
    connection_.sync();
}

void WlrootsInput::setKey(std::uint32_t code, bool isPressed) {
    zwp_virtual_keyboard_v1_key(keyboard_, milliseconds(), code, isPressed ? 1 : 0);
    // The compositor leaves the state of a virtual keyboard's modifiers to its client.
    if (const std::uint32_t modifier = modifierOf(code); modifier != 0) {
        modifiers_ = isPressed ? modifiers_ | modifier : modifiers_ & ~modifier;
        zwp_virtual_keyboard_v1_modifiers(keyboard_, modifiers_, 0, 0, 0);
    }
    connection_.sync();
}

}  // namespace

void VirtualInput::movePointer(double x, double y) {
    // Relative motion needs no knowledge of the outputs. The first one ends in the top-left corner.
    constexpr double farAway = 100'000;
    if (!isPlaceKnown_) moveBy(-farAway, -farAway);
    isPlaceKnown_ = true;
    moveBy(x - x_, y - y_);
    x_ = x;
    y_ = y;
}

void VirtualInput::click(std::uint32_t button) {
    setButton(button, true);
    setButton(button, false);
}

void VirtualInput::pressKeys(std::initializer_list<std::uint32_t> codes) {
    for (const std::uint32_t code : codes)
        setKey(code, true);
    for (const auto* code = codes.end(); code != codes.begin();)
        setKey(*--code, false);
}

std::unique_ptr<VirtualInput> makeWlrootsInput(const std::string& displayName) {
    return std::make_unique<WlrootsInput>(displayName);
}

}  // namespace lumicrate::stage
