// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/X11/Screens/Edid.h"

#include "Support/Text.h"

#include <algorithm>
#include <array>
#include <cstddef>

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
    return maker.empty() ? std::nullopt : std::optional(localized("{} Display", {maker}));
}

}  // namespace lumicrate::x11
