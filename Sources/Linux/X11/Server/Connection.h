// Connection: a client's connection to an X server, and replies that free themselves.
#pragma once

#include <xcb/xcb.h>

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

namespace lumicrate::x11 {

struct FreeReply {
    void operator()(void* reply) const { std::free(reply); }
};
template <class T>
using Reply = std::unique_ptr<T, FreeReply>;

/// Every failure that is the server's is thrown as PlatformError. One thread at a time.
class Connection {
 public:
    /// Connects to the server of that name (":1"), or the one of $DISPLAY when it is empty.
    explicit Connection(const std::string& displayName = {});

    xcb_connection_t* get() const { return connection_.get(); }
    int fileDescriptor() const { return xcb_get_file_descriptor(get()); }
    const xcb_screen_t& screen() const { return *screen_; }
    xcb_window_t root() const { return screen_->root; }
    std::uint32_t generateId() const { return xcb_generate_id(get()); }

    /// Data of an extension. Throws when the server lacks it; `name` is for people.
    const xcb_query_extension_reply_t& extension(xcb_extension_t& id, const std::string& name) const;
    bool hasExtension(xcb_extension_t& id) const;

    /// Waits for a reply. Gives none when the server answered with an error; throws when the connection is
    /// lost.
    template <class T, class Cookie>
    Reply<T> tryAwait(T* (*collect)(xcb_connection_t*, Cookie, xcb_generic_error_t**), Cookie cookie) const {
        xcb_generic_error_t* error = nullptr;
        Reply<T> reply(collect(get(), cookie, &error));
        std::free(error);
        if (!reply) throwIfLost();
        return reply;
    }

    /// Waits for a reply that there must be; throws when there is none.
    template <class T, class Cookie>
    Reply<T> await(T* (*collect)(xcb_connection_t*, Cookie, xcb_generic_error_t**), Cookie cookie) const {
        Reply<T> reply = tryAwait(collect, cookie);
        if (!reply) throwRefused();
        return reply;
    }

    /// Waits until a request without a reply was carried out; false when the server refused it.
    bool succeeds(xcb_void_cookie_t checkedCookie) const;
    void flush() const;
    void throwIfLost() const;
    [[noreturn]] static void throwRefused();

 private:
    struct Disconnect {
        void operator()(xcb_connection_t* connection) const { xcb_disconnect(connection); }
    };

    std::unique_ptr<xcb_connection_t, Disconnect> connection_;
    const xcb_screen_t* screen_ = nullptr;
};

}  // namespace lumicrate::x11
