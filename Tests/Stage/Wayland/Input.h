// SPDX-License-Identifier: GPL-3.0-or-later
// VirtualInput: a mouse and a keyboard for a private Wayland compositor, which are programs' only input
// there.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <string>

namespace lumicrate::stage {

/// Codes of linux/input-event-codes.h. Programs, Xwayland among them, adopt devices in their own time: what
/// comes shortly after devices were plugged in may not reach them, so repeat the first key until it does.
class VirtualInput {
 public:
    virtual ~VirtualInput() = default;

    /// Moves the pointer to a place in the desktop, in points. The place must be on an output.
    void movePointer(double x, double y);
    void click(std::uint32_t button);
    /// Presses and releases keys: all are held, from the first to the last, before the first is released.
    /// `pressKeys({KEY_LEFTCTRL, KEY_A})` is Ctrl+A. Keys have the places of an American keyboard.
    void pressKeys(std::initializer_list<std::uint32_t> codes);

    /// Like all others it returns when the compositor has processed the request. Throws std::runtime_error.
    virtual void setButton(std::uint32_t button, bool isPressed) = 0;
    virtual void setKey(std::uint32_t code, bool isPressed) = 0;

 protected:
    virtual void moveBy(double dx, double dy) = 0;

 private:
    double x_ = 0;
    double y_ = 0;
    bool isPlaceKnown_ = false;
};

/// The input of a compositor of the wlroots family. Throws std::runtime_error when it does not offer virtual
/// devices.
std::unique_ptr<VirtualInput> makeWlrootsInput(const std::string& displayName);

}  // namespace lumicrate::stage
