// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/Overlays/KeyboardFocus.h"

#include "Support/Log.h"
#include "Views/Desktop/XcbConnection.h"

#include <QApplication>
#include <QByteArray>
#include <QWindow>
#include <algorithm>
#include <chrono>
#include <iterator>
#include <utility>

namespace lumicrate::views {

namespace {

using namespace std::chrono_literals;

/// Shorter than the time after which Qt considers a window that lost the focus inactive.
constexpr auto retryInterval = 20ms;

xcb_window_t idOf(const QWindow& window) {
    return static_cast<xcb_window_t>(window.winId());
}

xcb_window_t focusedWindow() {
    xcb_connection_t* const x = xcbConnection();
    const XcbReply<xcb_get_input_focus_reply_t> reply(
        xcb_get_input_focus_reply(x, xcb_get_input_focus(x), nullptr));
    return reply ? reply->focus : xcb_window_t{XCB_NONE};
}

/// False for a window that is hidden or destroyed.
bool setFocus(xcb_window_t window) {
    // If this program ends, the focus reverts to the window under the pointer instead of to none.
    xcb_connection_t* const x = xcbConnection();
    const XcbReply<xcb_generic_error_t> error(xcb_request_check(
        x, xcb_set_input_focus_checked(x, XCB_INPUT_FOCUS_POINTER_ROOT, window, XCB_CURRENT_TIME)));
    return !error;
}

/// False while another program holds it.
bool grabKeyboard(xcb_window_t window) {
    xcb_connection_t* const x = xcbConnection();
    const XcbReply<xcb_grab_keyboard_reply_t> reply(xcb_grab_keyboard_reply(
        x, xcb_grab_keyboard(x, 0, window, XCB_CURRENT_TIME, XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC),
        nullptr));
    return reply && reply->status == XCB_GRAB_STATUS_SUCCESS;
}

/// Whether the focus moved to another window, as opposed to a grab of the keyboard.
bool isFocusLoss(const xcb_focus_out_event_t& event) {
    const bool moved = event.mode == XCB_NOTIFY_MODE_NORMAL || event.mode == XCB_NOTIFY_MODE_WHILE_GRABBED;
    return moved && event.detail != XCB_NOTIFY_DETAIL_INFERIOR && event.detail != XCB_NOTIFY_DETAIL_POINTER;
}

}  // namespace

KeyboardFocus::KeyboardFocus() {
    retry_.setSingleShot(true);
    retry_.setInterval(retryInterval);
    QObject::connect(&retry_, &QTimer::timeout, &retry_, [this] { claim(); });
    qGuiApp->installNativeEventFilter(this);
}

KeyboardFocus::~KeyboardFocus() {
    if (qGuiApp) qGuiApp->removeNativeEventFilter(this);
}

void KeyboardFocus::give(const QWindow& window) {
    if (!xcbConnection()) return;
    std::erase(holders_, idOf(window));
    if (holders_.empty()) previousFocus_ = XCB_NONE;
    holders_.push_back(idOf(window));
    claim();
}

void KeyboardFocus::release(const QWindow& window) {
    const xcb_window_t leaving = idOf(window);
    const auto found = std::find(holders_.begin(), holders_.end(), leaving);
    if (found == holders_.end()) return;
    const bool hadKeys = leaving == holders_.back();
    // Keep it among the holders for now, so that claim does not take its focus for another program's.
    std::rotate(holders_.begin(), found, std::next(found));
    if (hadKeys && holders_.size() > 1) claim();
    holders_.erase(holders_.begin());
    if (!holders_.empty()) return;
    retry_.stop();
    if (xcbConnection()) restoreFocus(leaving);
}

void KeyboardFocus::restoreFocus(xcb_window_t from) {
    xcb_ungrab_keyboard(xcbConnection(), XCB_CURRENT_TIME);
    const bool movedElsewhere = focusedWindow() != from;
    // If that window cannot have the focus, the window manager or the pointer decides.
    if (!movedElsewhere && !setFocus(previousFocus_)) setFocus(XCB_INPUT_FOCUS_POINTER_ROOT);
    xcb_flush(xcbConnection());
}

/// The focus first, so that keys typed before the grab succeeds reach the window too.
void KeyboardFocus::claim() {
    if (holders_.empty() || !xcbConnection()) return;
    const xcb_window_t holder = holders_.back();
    const bool isInPopup = QApplication::activePopupWidget() != nullptr;
    const bool isGrabbed = !isInPopup && moveFocusTo(holder) && grabKeyboard(holder);
    if (!isGrabbed) retry_.start();
    if (!isGrabbed && !std::exchange(isGrabRefused_, true))
        log(LogArea::ui, "keyboard held elsewhere", isInPopup ? " by a popup" : "", ", retrying");
    if (isGrabbed && std::exchange(isGrabRefused_, false)) log(LogArea::ui, "keyboard grabbed");
}

bool KeyboardFocus::moveFocusTo(xcb_window_t window) {
    const xcb_window_t focused = focusedWindow();
    if (focused == window) return true;
    // Remember a window that the user has clicked meanwhile, but not that no window has the focus.
    const bool isWindow = focused != XCB_NONE && focused != XCB_INPUT_FOCUS_POINTER_ROOT;
    const bool isHolder = std::find(holders_.begin(), holders_.end(), focused) != holders_.end();
    if (!isHolder && (isWindow || previousFocus_ == XCB_NONE)) previousFocus_ = focused;
    return setFocus(window);
}

bool KeyboardFocus::nativeEventFilter(const QByteArray& kind, void* message, qintptr*) {
    if (holders_.empty() || kind != "xcb_generic_event_t") return false;
    const auto& event = *static_cast<const xcb_focus_in_event_t*>(message);
    const int type = event.response_type & 0x7F;
    if ((type != XCB_FOCUS_IN && type != XCB_FOCUS_OUT) || event.event != holders_.back()) return false;
    if (type == XCB_FOCUS_OUT) {
        // Delayed, so that two programs that both insist on the focus do not loop.
        if (isFocusLoss(event)) retry_.start();
    } else if (event.mode == XCB_NOTIFY_MODE_UNGRAB) {
        // A grab has ended: a hot key's, or that of a menu of this window.
        claim();
    }
    return false;
}

}  // namespace lumicrate::views
