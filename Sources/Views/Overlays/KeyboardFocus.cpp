#include "Views/Overlays/KeyboardFocus.h"

#include <xcb/xcb.h>

#include <QApplication>
#include <QByteArray>
#include <QWindow>
#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <iterator>
#include <memory>

namespace lumicrate::views {

namespace {

using namespace std::chrono_literals;

/// Shorter than Qt waits until it takes a window that has lost the focus for inactive.
constexpr auto interval = 20ms;

struct Free {
    void operator()(void* reply) const { std::free(reply); }
};
template <class Reply>
using Owned = std::unique_ptr<Reply, Free>;

xcb_connection_t* connection() {
    const auto* const x11 = qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    return x11 ? x11->connection() : nullptr;
}

xcb_window_t idOf(const QWindow& window) {
    return static_cast<xcb_window_t>(window.winId());
}

xcb_window_t focusedWindow() {
    xcb_connection_t* const x = connection();
    const Owned<xcb_get_input_focus_reply_t> reply(
        xcb_get_input_focus_reply(x, xcb_get_input_focus(x), nullptr));
    return reply ? reply->focus : xcb_window_t{XCB_NONE};
}

/// False for a window that cannot be seen, or is gone.
bool setFocus(xcb_window_t window) {
    // Should this program end, whoever is under the pointer has the keys rather than nobody.
    xcb_connection_t* const x = connection();
    const Owned<xcb_generic_error_t> error(xcb_request_check(
        x, xcb_set_input_focus_checked(x, XCB_INPUT_FOCUS_POINTER_ROOT, window, XCB_CURRENT_TIME)));
    return !error;
}

/// False while another program holds it.
bool grabKeyboard(xcb_window_t window) {
    xcb_connection_t* const x = connection();
    const Owned<xcb_grab_keyboard_reply_t> reply(xcb_grab_keyboard_reply(
        x, xcb_grab_keyboard(x, 0, window, XCB_CURRENT_TIME, XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC),
        nullptr));
    return reply && reply->status == XCB_GRAB_STATUS_SUCCESS;
}

/// Whether the window has lost the focus to another, as against somebody's having grabbed the keyboard.
bool isLoss(const xcb_focus_out_event_t& event) {
    const bool moved = event.mode == XCB_NOTIFY_MODE_NORMAL || event.mode == XCB_NOTIFY_MODE_WHILE_GRABBED;
    return moved && event.detail != XCB_NOTIFY_DETAIL_INFERIOR && event.detail != XCB_NOTIFY_DETAIL_POINTER;
}

}  // namespace

KeyboardFocus::KeyboardFocus() {
    again_.setSingleShot(true);
    again_.setInterval(interval);
    QObject::connect(&again_, &QTimer::timeout, &again_, [this] { claim(); });
    qGuiApp->installNativeEventFilter(this);
}

KeyboardFocus::~KeyboardFocus() {
    if (qGuiApp) qGuiApp->removeNativeEventFilter(this);
}

void KeyboardFocus::give(const QWindow& window) {
    if (!connection()) return;
    std::erase(holders_, idOf(window));
    if (holders_.empty()) former_ = XCB_NONE;
    holders_.push_back(idOf(window));
    claim();
}

void KeyboardFocus::release(const QWindow& window) {
    const xcb_window_t leaving = idOf(window);
    const auto found = std::find(holders_.begin(), holders_.end(), leaving);
    if (found == holders_.end()) return;
    const bool hadKeys = leaving == holders_.back();
    // Still one of the holders, so that its focus is not taken for another program's.
    std::rotate(holders_.begin(), found, std::next(found));
    if (hadKeys && holders_.size() > 1) claim();
    holders_.erase(holders_.begin());
    if (!holders_.empty()) return;
    again_.stop();
    if (connection()) giveBack(leaving);
}

void KeyboardFocus::giveBack(xcb_window_t from) {
    xcb_ungrab_keyboard(connection(), XCB_CURRENT_TIME);
    const bool goneElsewhere = focusedWindow() != from;
    // Without a window that can have it, a window manager decides, or else the pointer.
    if (!goneElsewhere && !setFocus(former_)) setFocus(XCB_INPUT_FOCUS_POINTER_ROOT);
    xcb_flush(connection());
}

/// The focus first: what is typed before the keyboard can be had goes to the window, too.
void KeyboardFocus::claim() {
    if (holders_.empty() || !connection()) return;
    const xcb_window_t holder = holders_.back();
    const bool isInPopup = QApplication::activePopupWidget() != nullptr;
    if (isInPopup || !takeFocus(holder) || !grabKeyboard(holder)) again_.start();
}

bool KeyboardFocus::takeFocus(xcb_window_t window) {
    const xcb_window_t focused = focusedWindow();
    if (focused == window) return true;
    // A window that the user has clicked on meanwhile counts; that nobody has the focus does not.
    const bool isWindow = focused != XCB_NONE && focused != XCB_INPUT_FOCUS_POINTER_ROOT;
    const bool isHolder = std::find(holders_.begin(), holders_.end(), focused) != holders_.end();
    if (!isHolder && (isWindow || former_ == XCB_NONE)) former_ = focused;
    return setFocus(window);
}

bool KeyboardFocus::nativeEventFilter(const QByteArray& kind, void* message, qintptr*) {
    if (holders_.empty() || kind != "xcb_generic_event_t") return false;
    const auto& event = *static_cast<const xcb_focus_in_event_t*>(message);
    const int type = event.response_type & 0x7F;
    if ((type != XCB_FOCUS_IN && type != XCB_FOCUS_OUT) || event.event != holders_.back()) return false;
    if (type == XCB_FOCUS_OUT) {
        // Not at once, or two programs that insist would keep each other busy.
        if (isLoss(event)) again_.start();
    } else if (event.mode == XCB_NOTIFY_MODE_UNGRAB) {
        // Somebody has let the keyboard go: a hot key, or a menu of this very window.
        claim();
    }
    return false;
}

}  // namespace lumicrate::views
