// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/X11/Screens/DesktopScale.h"

#include "Linux/X11/Server/Connection.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <string>

namespace lumicrate::x11 {

namespace {

constexpr double dpiOfScaleOne = 96;

/// Parses a settings property without reading past its end.
class SettingsReader {
 public:
    explicit SettingsReader(std::span<const std::uint8_t> bytes) : rest_(bytes) {
        bigEndian_ = !bytes.empty() && bytes[0] == XCB_IMAGE_ORDER_MSB_FIRST;
    }

    bool ended() const { return ended_; }
    std::uint32_t number(std::size_t size) {
        std::uint32_t value = 0;
        const auto bytes = take(size);
        for (std::size_t i = 0; i < bytes.size(); ++i)
            value = value << 8U | bytes[bigEndian_ ? i : bytes.size() - 1 - i];
        return value;
    }
    /// Padded to a multiple of four bytes.
    std::string_view text(std::size_t length) {
        const auto bytes = take(length);
        take((4 - length % 4) % 4);
        return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
    }
    std::span<const std::uint8_t> take(std::size_t size) {
        if (size > rest_.size()) {
            ended_ = true;
            rest_ = {};
            return {};
        }
        const auto taken = rest_.first(size);
        rest_ = rest_.subspan(size);
        return taken;
    }

 private:
    std::span<const std::uint8_t> rest_;
    bool bigEndian_;
    bool ended_ = false;
};

std::optional<double> validDpi(double dpi) {
    return dpi > 0 ? std::optional(dpi) : std::nullopt;
}

std::optional<double> settingsDpi(const Connection& connection) {
    const auto selection = connection.internAtom("_XSETTINGS_S" + std::to_string(connection.screenNumber()));
    const auto property = connection.internAtom("_XSETTINGS_SETTINGS");
    const auto owner =
        connection.await(xcb_get_selection_owner_reply, xcb_get_selection_owner(connection.get(), selection));
    if (owner->owner == XCB_NONE) return std::nullopt;
    const Property settings = PropertyQuery(connection, owner->owner, property).collect();
    const auto bytes = settings.bytes();
    if (!bytes) return std::nullopt;
    return dpiFromSettings({reinterpret_cast<const std::uint8_t*>(bytes->data()), bytes->size()});
}

std::optional<double> resourcesDpi(const Connection& connection) {
    const Property resources =
        PropertyQuery(connection, connection.root(), XCB_ATOM_RESOURCE_MANAGER).collect();
    const auto bytes = resources.bytes();
    return bytes ? dpiFromResources(*bytes) : std::nullopt;
}

}  // namespace

double desktopScale(const Connection& connection) {
    constexpr double minScale = 1;
    constexpr double maxScale = 4;
    auto dpi = settingsDpi(connection);
    if (!dpi) dpi = resourcesDpi(connection);
    return dpi ? std::clamp(*dpi / dpiOfScaleOne, minScale, maxScale) : minScale;
}

std::optional<double> dpiFromSettings(std::span<const std::uint8_t> settings) {
    enum Kind : std::uint32_t { integer = 0, text = 1, colour = 2 };
    constexpr double unit = 1024;
    SettingsReader reader(settings);
    reader.number(4);  // the byte order
    reader.number(4);  // serial of the settings
    const std::uint32_t count = reader.number(4);
    for (std::uint32_t i = 0; i < count && !reader.ended(); ++i) {
        const std::uint32_t kind = reader.number(1);
        reader.number(1);
        const std::string_view name = reader.text(reader.number(2));
        reader.number(4);  // serial of this one
        if (kind == Kind::integer) {
            const auto value = static_cast<std::int32_t>(reader.number(4));
            if (!reader.ended() && name == "Xft/DPI") return validDpi(value / unit);
        } else if (kind == Kind::text) {
            reader.text(reader.number(4));
        } else if (kind == Kind::colour) {
            reader.number(8);
        } else {
            return std::nullopt;
        }
    }
    return std::nullopt;
}

std::optional<double> dpiFromResources(std::string_view resources) {
    constexpr std::string_view name = "Xft.dpi:";
    std::optional<double> dpi;
    while (!resources.empty()) {
        const std::string_view line = resources.substr(0, resources.find('\n'));
        resources.remove_prefix(std::min(line.size() + 1, resources.size()));
        if (!line.starts_with(name)) continue;
        const std::size_t begin = line.find_first_not_of(" \t", name.size());
        if (begin == std::string_view::npos) continue;
        double value = 0;
        const auto read = std::from_chars(line.data() + begin, line.data() + line.size(), value);
        if (read.ec == std::errc()) dpi = validDpi(value);
    }
    return dpi;
}

}  // namespace lumicrate::x11
