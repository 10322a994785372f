// SPDX-License-Identifier: GPL-3.0-or-later
// Connection: a client's connection to an X server, with its events and windows' properties. Replies free
// themselves; errors become PlatformError.
#pragma once

#include <xcb/xcb.h>

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace lumicrate::x11 {

struct FreeReply {
    void operator()(void* reply) const { std::free(reply); }
};
template <class T>
using Reply = std::unique_ptr<T, FreeReply>;

/// An event's number without the bit that marks events sent by other clients.
inline int eventType(const xcb_generic_event_t& event) {
    return event.response_type & 0x7f;
}

/// The event as the type that belongs to its number.
template <class Event>
const Event& eventAs(const xcb_generic_event_t& event) {
    return reinterpret_cast<const Event&>(event);
}

/// All operations throw PlatformError when the server is lost. One thread at a time.
class Connection {
 public:
    /// Connects to the server of that name (":1"), or to that of $DISPLAY when it is empty.
    explicit Connection(const std::string& displayName = {});

    xcb_connection_t* get() const { return connection_.get(); }
    int fileDescriptor() const { return xcb_get_file_descriptor(get()); }
    const xcb_screen_t& screen() const { return *screen_; }
    /// The index of screen() among the server's screens; manager selections contain it (_NET_WM_CM_S0).
    int screenNumber() const;
    xcb_window_t root() const { return screen_->root; }
    std::uint32_t generateId() const { return xcb_generate_id(get()); }
    xcb_atom_t internAtom(std::string_view name) const { return internAtoms({name}).front(); }
    /// In one round trip.
    std::vector<xcb_atom_t> internAtoms(const std::vector<std::string_view>& names) const;

    /// Data of an extension. Throws when the server lacks it; the message contains `name`.
    const xcb_query_extension_reply_t& extension(xcb_extension_t& id, const std::string& name) const;
    bool hasExtension(xcb_extension_t& id) const;
    /// The number of an extension's event on this server, given its number within the extension.
    std::uint8_t extensionEvent(xcb_extension_t& id, const std::string& name, int event) const;

    /// Waits for a reply. Null when the server answered with an error.
    template <class T, class Cookie>
    Reply<T> tryAwait(T* (*collect)(xcb_connection_t*, Cookie, xcb_generic_error_t**), Cookie cookie) const {
        xcb_generic_error_t* error = nullptr;
        Reply<T> reply(collect(get(), cookie, &error));
        std::free(error);
        if (!reply) throwIfLost();
        return reply;
    }

    /// Waits for a reply; throws when the server answered with an error.
    template <class T, class Cookie>
    Reply<T> await(T* (*collect)(xcb_connection_t*, Cookie, xcb_generic_error_t**), Cookie cookie) const {
        Reply<T> reply = tryAwait(collect, cookie);
        if (!reply) throwRefused();
        return reply;
    }

    /// Waits until a request without a reply was carried out; false when the server refused it.
    bool succeeds(xcb_void_cookie_t checkedCookie) const;
    /// Waits until the server has carried out all requests. Events that they caused are queued by then.
    void sync() const;
    void flush() const;
    void throwIfLost() const;
    [[noreturn]] static void throwRefused();

    /// Selects these events (XCB_EVENT_MASK_…) of the root window in addition to those selected so far: a
    /// client has one event mask per window.
    void selectRootEvents(std::uint32_t events) const;
    /// Selects exactly these events of all pointers and keyboards (XCB_INPUT_XI_EVENT_MASK_…) in all windows.
    void selectInputEvents(std::uint32_t events) const;
    /// Calls handle(event) for every event that has arrived, reading from the socket without blocking.
    template <class Handler>
    void processEvents(Handler handle) const {
        while (const Reply<xcb_generic_event_t> event{xcb_poll_for_event(get())})
            handle(*event);
        throwIfLost();
    }
    /// The same for events that arrived together with replies. Does not read from the socket: all events that
    /// the server sent before the last reply are among them.
    template <class Handler>
    void processQueuedEvents(Handler handle) const {
        while (const Reply<xcb_generic_event_t> event{xcb_poll_for_queued_event(get())})
            handle(*event);
    }

 private:
    struct Disconnect {
        void operator()(xcb_connection_t* connection) const { xcb_disconnect(connection); }
    };

    std::unique_ptr<xcb_connection_t, Disconnect> connection_;
    const xcb_screen_t* screen_ = nullptr;
};

/// A property that was read, or an absent one.
class Property {
 public:
    explicit Property(Reply<xcb_get_property_reply_t> reply) : reply_(std::move(reply)) {}

    /// XCB_NONE for an absent property.
    xcb_atom_t type() const { return reply_ ? reply_->type : static_cast<xcb_atom_t>(XCB_NONE); }
    /// Nothing when it is absent or its format is not 8 bits. Valid while this object lives.
    std::optional<std::string_view> bytes() const;
    /// Empty when it is absent or its format is not 32 bits. Valid while this object lives.
    std::span<const std::uint32_t> numbers() const;

 private:
    Reply<xcb_get_property_reply_t> reply_;
};

/// A request for a property, sent by the constructor. Must be collected exactly once.
class PropertyQuery {
 public:
    PropertyQuery(const Connection& connection, xcb_window_t window, xcb_atom_t property);

    /// Waits for the reply. A window that is gone has no properties. Throws PlatformError when the server is
    /// lost.
    Property collect() const;

 private:
    const Connection* connection_;
    xcb_get_property_cookie_t cookie_;
};

}  // namespace lumicrate::x11
