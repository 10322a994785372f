#include "Linux/X11/Server/Property.h"

#include <cstddef>

namespace lumicrate::x11 {

namespace {

/// In units of four bytes; longer than any title or window list.
constexpr std::uint32_t maxLength = 65536;

}  // namespace

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
