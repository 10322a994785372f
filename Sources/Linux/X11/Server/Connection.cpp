// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/X11/Server/Connection.h"

#include "Support/Error.h"

#include <xcb/xinput.h>

#include <cstddef>

namespace lumicrate::x11 {

namespace {

/// In units of four bytes; longer than any title or window list.
constexpr std::uint32_t maxLength = 65536;

}  // namespace

Connection::Connection(const std::string& displayName) {
    int screenNumber = 0;
    connection_.reset(xcb_connect(displayName.empty() ? nullptr : displayName.c_str(), &screenNumber));
    if (xcb_connection_has_error(get()) == 0) {
        auto screens = xcb_setup_roots_iterator(xcb_get_setup(get()));
        for (; screenNumber > 0 && screens.rem > 1; --screenNumber)
            xcb_screen_next(&screens);
        screen_ = screens.data;
    }
    if (screen_ == nullptr) throw PlatformError(localized("No display server can be reached."));
}

int Connection::screenNumber() const {
    int number = 0;
    for (auto screens = xcb_setup_roots_iterator(xcb_get_setup(get()));
         screens.rem > 0 && screens.data->root != root(); xcb_screen_next(&screens)) {
        ++number;
    }
    return number;
}

std::vector<xcb_atom_t> Connection::internAtoms(const std::vector<std::string_view>& names) const {
    std::vector<xcb_intern_atom_cookie_t> cookies;
    for (const std::string_view name : names)
        cookies.push_back(xcb_intern_atom(get(), 0, static_cast<std::uint16_t>(name.size()), name.data()));
    std::vector<xcb_atom_t> atoms;
    for (const auto cookie : cookies)
        atoms.push_back(await(xcb_intern_atom_reply, cookie)->atom);
    return atoms;
}

bool Connection::hasExtension(xcb_extension_t& id) const {
    const xcb_query_extension_reply_t* const data = xcb_get_extension_data(get(), &id);
    return data != nullptr && data->present != 0;
}

const xcb_query_extension_reply_t& Connection::extension(xcb_extension_t& id, const std::string& name) const {
    if (!hasExtension(id)) {
        throwIfLost();
        throw PlatformError(localized("The display server lacks an extension that is needed: {}.", {name}));
    }
    return *xcb_get_extension_data(get(), &id);
}

std::uint8_t Connection::extensionEvent(xcb_extension_t& id, const std::string& name, int event) const {
    return static_cast<std::uint8_t>(extension(id, name).first_event + event);
}

void Connection::selectRootEvents(std::uint32_t events) const {
    const auto attributes = await(xcb_get_window_attributes_reply, xcb_get_window_attributes(get(), root()));
    const std::uint32_t all = attributes->your_event_mask | events;
    xcb_change_window_attributes(get(), root(), XCB_CW_EVENT_MASK, &all);
}

void Connection::selectInputEvents(std::uint32_t events) const {
    const struct {
        xcb_input_event_mask_t head;
        std::uint32_t mask;
    } selection{{XCB_INPUT_DEVICE_ALL_MASTER, 1}, events};
    xcb_input_xi_select_events(get(), root(), 1, &selection.head);
}

bool Connection::succeeds(xcb_void_cookie_t checkedCookie) const {
    const Reply<xcb_generic_error_t> error(xcb_request_check(get(), checkedCookie));
    throwIfLost();
    return !error;
}

void Connection::sync() const {
    await(xcb_get_input_focus_reply, xcb_get_input_focus(get()));
}

void Connection::flush() const {
    if (xcb_flush(get()) <= 0) throwIfLost();
}

void Connection::throwIfLost() const {
    const int error = xcb_connection_has_error(get());
    if (error != 0) throw PlatformError(localized("The connection to the display server was lost."), error);
}

void Connection::throwRefused() {
    throw PlatformError(localized("The display server refused a request."));
}

std::optional<std::string_view> Property::bytes() const {
    if (!reply_ || reply_->format != 8) return std::nullopt;
    return std::string_view(static_cast<const char*>(xcb_get_property_value(reply_.get())),
                            static_cast<std::size_t>(xcb_get_property_value_length(reply_.get())));
}

std::span<const std::uint32_t> Property::numbers() const {
    if (!reply_ || reply_->format != 32) return {};
    return {static_cast<const std::uint32_t*>(xcb_get_property_value(reply_.get())),
            static_cast<std::size_t>(xcb_get_property_value_length(reply_.get())) / sizeof(std::uint32_t)};
}

PropertyQuery::PropertyQuery(const Connection& connection, xcb_window_t window, xcb_atom_t property)
    : connection_(&connection),
      cookie_(
          xcb_get_property(connection.get(), 0, window, property, XCB_GET_PROPERTY_TYPE_ANY, 0, maxLength)) {}

Property PropertyQuery::collect() const {
    return Property(connection_->tryAwait(xcb_get_property_reply, cookie_));
}

}  // namespace lumicrate::x11
