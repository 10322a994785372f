// SPDX-License-Identifier: GPL-3.0-or-later
// The toolkit's own connection to the X server, for requests that the toolkit does not offer.
#pragma once

#include <QGuiApplication>
#include <cstdlib>
#include <memory>

struct xcb_connection_t;

namespace lumicrate::views {

/// Null without an application, and on a desktop that is not X11.
inline xcb_connection_t* xcbConnection() {
    const auto* const x11 = qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    return x11 ? x11->connection() : nullptr;
}

struct FreeXcbReply {
    void operator()(void* reply) const { std::free(reply); }
};
/// A reply or an error of xcb, which its receiver has to free.
template <class Reply>
using XcbReply = std::unique_ptr<Reply, FreeXcbReply>;

}  // namespace lumicrate::views
