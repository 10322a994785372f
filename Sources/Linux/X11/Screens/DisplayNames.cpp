// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/X11/Screens/DisplayNames.h"

#include "Support/Text.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

namespace lumicrate::x11 {

namespace {

// The base block of an EDID (VESA E-EDID 1.4).
constexpr std::size_t blockSize = 128;
constexpr std::array<std::uint8_t, 8> header{0x00, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0x00};
constexpr std::size_t makerOffset = 8;
constexpr std::size_t firstDescriptor = 54;
constexpr std::size_t descriptorSize = 18;
constexpr std::size_t descriptorCount = 4;
constexpr std::uint8_t modelName = 0xfc;

/// Three letters in five bits each, 1 for A; empty if they are invalid.
std::string makerLetters(std::span<const std::uint8_t> edid) {
    const unsigned packed = edid[makerOffset] << 8U | edid[makerOffset + 1];
    std::string letters;
    for (const unsigned shift : {10U, 5U, 0U}) {
        const unsigned letter = packed >> shift & 0x1fU;
        if (letter < 1 || letter > 26) return {};
        letters += static_cast<char>('A' + letter - 1);
    }
    return letters;
}

/// The text of a descriptor: up to 13 characters, ended by a line feed, padded with spaces. Everything but
/// printable ASCII is left out.
std::string descriptorText(std::span<const std::uint8_t> descriptor) {
    constexpr std::size_t textOffset = 5;
    std::string text;
    for (const std::uint8_t byte : descriptor.subspan(textOffset)) {
        if (byte == '\n') break;
        const bool leads = text.empty() && byte == ' ';
        if (byte >= 0x20 && byte < 0x7f && !leads) text += static_cast<char>(byte);
    }
    text.erase(text.find_last_not_of(' ') + 1);
    return text;
}

bool isBuiltIn(std::string_view connector) {
    return connector.starts_with("eDP") || connector.starts_with("LVDS") || connector.starts_with("DSI");
}

std::string nameOf(const NamedDisplay& display) {
    if (isBuiltIn(display.connector)) return localized("Built-in Display");
    return nameFromEdid(display.edid).value_or(display.connector);
}

}  // namespace

std::optional<std::string> nameFromEdid(std::span<const std::uint8_t> edid) {
    if (edid.size() < blockSize || !std::ranges::equal(edid.first(header.size()), header))
        return std::nullopt;
    for (std::size_t i = 0; i < descriptorCount; ++i) {
        const auto descriptor = edid.subspan(firstDescriptor + i * descriptorSize, descriptorSize);
        // A timing begins with its pixel clock, which is not 0.
        if (descriptor[0] != 0 || descriptor[1] != 0 || descriptor[3] != modelName) continue;
        if (std::string text = descriptorText(descriptor); !text.empty()) return text;
    }
    const std::string maker = makerLetters(edid);
    return maker.empty() ? std::nullopt : std::optional(maker + " " + localized("Display"));
}

std::vector<std::string> displayNames(const std::vector<NamedDisplay>& displays) {
    std::vector<std::string> plain;
    for (const NamedDisplay& each : displays)
        plain.push_back(nameOf(each));
    std::vector<std::string> names;
    for (std::size_t i = 0; i < displays.size(); ++i) {
        const bool isUnique = std::ranges::count(plain, plain[i]) == 1;
        const std::string& connector = displays[i].connector;
        names.push_back(isUnique || plain[i] == connector ? plain[i] : plain[i] + " (" + connector + ")");
    }
    return names;
}

}  // namespace lumicrate::x11
