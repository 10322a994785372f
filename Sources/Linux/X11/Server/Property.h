// Properties of windows: asked for together, read one by one.
#pragma once

#include "Linux/X11/Server/Connection.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <utility>

namespace lumicrate::x11 {

/// A property as it was read, or the lack of one.
class Property {
 public:
    explicit Property(Reply<xcb_get_property_reply_t> reply) : reply_(std::move(reply)) {}

    /// XCB_NONE for a property that does not exist.
    xcb_atom_t type() const { return reply_ ? reply_->type : static_cast<xcb_atom_t>(XCB_NONE); }
    /// Nothing when there is no such property, or it holds no bytes. As long as this object.
    std::optional<std::string_view> bytes() const;
    /// Its 32-bit values; none when there is no such property, or it holds something else. As long as this
    /// object.
    std::span<const std::uint32_t> numbers() const;

 private:
    Reply<xcb_get_property_reply_t> reply_;
};

/// A question for a property, on its way from the constructor on. It must be collected, and once only.
class PropertyQuery {
 public:
    PropertyQuery(const Connection& connection, xcb_window_t window, xcb_atom_t property);

    /// A window that is gone has no properties. Throws PlatformError when the server is lost.
    Property collect() const;

 private:
    const Connection* connection_;
    xcb_get_property_cookie_t cookie_;
};

}  // namespace lumicrate::x11
