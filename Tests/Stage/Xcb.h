// SPDX-License-Identifier: GPL-3.0-or-later
// What the stage needs of XCB: a connection and replies that free themselves, and atoms.
#pragma once

#include <xcb/xcb.h>

#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

namespace lumicrate::stage {

struct FreeReply {
    void operator()(void* reply) const { std::free(reply); }
};
template <typename Reply>
using XcbReply = std::unique_ptr<Reply, FreeReply>;

/// Throws std::runtime_error when there is no such display.
class XcbConnection {
 public:
    explicit XcbConnection(const std::string& displayName)
        : connection_(xcb_connect(displayName.empty() ? nullptr : displayName.c_str(), nullptr)) {
        if (xcb_connection_has_error(connection_.get()) != 0) {
            throw std::runtime_error("No X display " + displayName);
        }
        screen_ = xcb_setup_roots_iterator(xcb_get_setup(connection_.get())).data;
    }

    xcb_connection_t* get() const { return connection_.get(); }
    xcb_screen_t* screen() const { return screen_; }
    /// Returns when the server has carried out all requests; false when it is gone.
    bool sync() const {
        return XcbReply<xcb_get_input_focus_reply_t>(
                   xcb_get_input_focus_reply(get(), xcb_get_input_focus(get()), nullptr)) != nullptr;
    }

 private:
    struct Disconnect {
        void operator()(xcb_connection_t* connection) const { xcb_disconnect(connection); }
    };
    std::unique_ptr<xcb_connection_t, Disconnect> connection_;
    xcb_screen_t* screen_ = nullptr;
};

inline xcb_atom_t internAtom(xcb_connection_t* connection, std::string_view name) {
    const XcbReply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(
        connection, xcb_intern_atom(connection, 0, static_cast<std::uint16_t>(name.size()), name.data()),
        nullptr));
    if (!reply) throw std::runtime_error("No atom " + std::string(name));
    return reply->atom;
}

}  // namespace lumicrate::stage
