// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/Shell/Launch.h"

#include "Views/Desktop/XcbConnection.h"

#include <algorithm>
#include <charconv>
#include <string_view>
#include <utility>

namespace lumicrate::views {

namespace {

Launch* current = nullptr;

constexpr std::size_t bytesInMessage = 20;

void sendToRoot(const xcb_client_message_event_t& event, std::uint32_t mask) {
    xcb_send_event(xcbConnection(), 0, xcbRoot(), mask, reinterpret_cast<const char*>(&event));
}

/// Sends a text of the startup notification protocol to everybody: client messages of 20 bytes each, the
/// first of its own type; a zero byte ends the text.
void broadcast(const std::string& text) {
    xcb_connection_t* const x = xcbConnection();
    // Identifies the messages that belong together.
    const xcb_window_t sender = xcb_generate_id(x);
    xcb_create_window(x, XCB_COPY_FROM_PARENT, sender, xcbRoot(), -1, -1, 1, 1, 0,
                      XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, 0, nullptr);
    xcb_client_message_event_t event{};
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 8;
    event.window = sender;
    event.type = xcbAtom("_NET_STARTUP_INFO_BEGIN");
    for (std::size_t sent = 0; sent <= text.size(); sent += bytesInMessage) {
        std::fill(std::begin(event.data.data8), std::end(event.data.data8), std::uint8_t{0});
        const std::size_t count = std::min(bytesInMessage, text.size() - sent);
        std::copy_n(text.begin() + static_cast<std::ptrdiff_t>(sent), count, event.data.data8);
        sendToRoot(event, XCB_EVENT_MASK_PROPERTY_CHANGE);
        event.type = xcbAtom("_NET_STARTUP_INFO");
    }
    xcb_destroy_window(x, sender);
    xcb_flush(x);
}

/// In quotation marks, as the protocol requires of values with special characters.
std::string inQuotes(const std::string& value) {
    std::string text = "\"";
    for (const char each : value) {
        if (each == '"' || each == '\\') text += '\\';
        text += each;
    }
    return text + '"';
}

}  // namespace

Launch::Launch(std::string startupId)
    : startupId_(std::move(startupId)), outer_(std::exchange(current, this)) {}

Launch::~Launch() {
    current = outer_;
    if (!startupId_.empty() && xcbConnection()) broadcast("remove: ID=" + inQuotes(startupId_));
}

std::optional<std::uint32_t> Launch::timeIn(const std::string& startupId) {
    constexpr std::string_view mark = "_TIME";
    const auto found = startupId.rfind(mark);
    if (found == std::string::npos) return std::nullopt;
    std::uint32_t time = 0;
    const char* const begin = startupId.data() + found + mark.size();
    const char* const end = startupId.data() + startupId.size();
    const auto [read, error] = std::from_chars(begin, end, time);
    return error == std::errc() && read == end ? std::optional(time) : std::nullopt;
}

void Launch::activate(const QWidget& window) {
    const auto time = current ? timeIn(current->startupId_) : std::nullopt;
    if (!time || !xcbConnection()) return;
    constexpr std::uint32_t sourceIsApplication = 1;
    xcb_client_message_event_t event{};
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 32;
    event.window = static_cast<xcb_window_t>(window.winId());
    event.type = xcbAtom("_NET_ACTIVE_WINDOW");
    event.data.data32[0] = sourceIsApplication;
    event.data.data32[1] = *time;
    sendToRoot(event, XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT);
}

}  // namespace lumicrate::views
