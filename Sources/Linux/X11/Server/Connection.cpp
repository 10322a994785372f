#include "Linux/X11/Server/Connection.h"

#include "Support/Error.h"

namespace lumicrate::x11 {

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

bool Connection::hasExtension(xcb_extension_t& id) const {
    const xcb_query_extension_reply_t* const data = xcb_get_extension_data(get(), &id);
    return data != nullptr && data->present != 0;
}

const xcb_query_extension_reply_t& Connection::extension(xcb_extension_t& id, const std::string& name) const {
    if (!hasExtension(id)) {
        throwIfLost();
        throw PlatformError(localized("The display server lacks an extension that is needed: ") + name + ".");
    }
    return *xcb_get_extension_data(get(), &id);
}

bool Connection::succeeds(xcb_void_cookie_t checkedCookie) const {
    const Reply<xcb_generic_error_t> error(xcb_request_check(get(), checkedCookie));
    throwIfLost();
    return !error;
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

}  // namespace lumicrate::x11
