// KeyboardFocus: gives the keys to windows that no window manager knows, and gives them back.
#pragma once

#include <QAbstractNativeEventFilter>
#include <QTimer>
#include <cstdint>
#include <vector>

class QWindow;

namespace lumicrate::views {

/// Of the windows that have been given the keys, the last one has them, all of them: it has the input focus,
/// so that it is active like any other window, and the keyboard is grabbed, so that neither hot keys nor
/// another window that is clicked on get any. Where somebody else holds the keyboard, it has them as soon as
/// they are let go. Menus and other popups of the window have the keys while they are open.
///
/// Needs a QGuiApplication, hears through its event loop, and outlives the windows. On a desktop that is not
/// X11 it does nothing. Main thread.
class KeyboardFocus final : private QAbstractNativeEventFilter {
 public:
    KeyboardFocus();
    ~KeyboardFocus() override;
    KeyboardFocus(const KeyboardFocus&) = delete;
    KeyboardFocus& operator=(const KeyboardFocus&) = delete;

    /// `window` is on the screen, and there is a call of `release` before it goes.
    void give(const QWindow& window);
    /// The window that had the keys before gets them back: another one that has been given them, or the one
    /// that had the focus before all of them, if that can still be seen and nobody else has it by now. Does
    /// nothing for a window that has not been given any.
    void release(const QWindow& window);

 private:
    bool nativeEventFilter(const QByteArray& kind, void* message, qintptr* result) override;
    void claim();
    bool takeFocus(std::uint32_t window);
    void giveBack(std::uint32_t from);

    std::vector<std::uint32_t> holders_;
    std::uint32_t former_ = 0;  ///< of another program, or of ours; may stand for no window at all
    QTimer again_;
};

}  // namespace lumicrate::views
