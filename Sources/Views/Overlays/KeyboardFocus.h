// SPDX-License-Identifier: GPL-3.0-or-later
// KeyboardFocus: gives the keyboard to windows that no window manager controls, and gives it back afterwards.
#pragma once

#include <QAbstractNativeEventFilter>
#include <QTimer>
#include <cstdint>
#include <vector>

class QWindow;

namespace lumicrate::views {

/// Of several windows the last one that was given the keyboard gets all keys. It has the input focus, which
/// makes it the active window, and it grabs the keyboard, so that hot keys and windows that are clicked
/// meanwhile get no keys. While another program holds the keyboard, the grab is retried until that program
/// releases it. Menus and other popups of the window get the keys while they are open.
///
/// Needs a QGuiApplication and its event loop, and must outlive the windows. Does nothing on a desktop other
/// than X11. Main thread.
class KeyboardFocus final : private QAbstractNativeEventFilter {
 public:
    KeyboardFocus();
    ~KeyboardFocus() override;
    KeyboardFocus(const KeyboardFocus&) = delete;
    KeyboardFocus& operator=(const KeyboardFocus&) = delete;

    /// `window` must be shown. Call `release` before it is destroyed.
    void give(const QWindow& window);
    /// Gives the keyboard back to the window that had it before: another window of ours that was given it,
    /// else the window that had the focus before all of ours, if it is still visible and the focus has not
    /// moved elsewhere meanwhile. Does nothing for a window that was not given the keyboard.
    void release(const QWindow& window);

 private:
    bool nativeEventFilter(const QByteArray& kind, void* message, qintptr* result) override;
    void claim();
    bool moveFocusTo(std::uint32_t window);
    void restoreFocus(std::uint32_t from);

    std::vector<std::uint32_t> holders_;
    std::uint32_t previousFocus_ = 0;  ///< a window of any program; may stand for no window at all
    QTimer retry_;
    bool isGrabRefused_ = false;
};

}  // namespace lumicrate::views
