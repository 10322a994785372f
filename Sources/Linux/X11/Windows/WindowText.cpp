// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/X11/Windows/WindowText.h"

#include <algorithm>
#include <cstddef>

namespace lumicrate::x11 {

namespace {

constexpr std::string_view replacement = "\uFFFD";
constexpr char escape = '\x1b';

std::string_view untilZero(std::string_view bytes) {
    return bytes.substr(0, bytes.find('\0'));
}

unsigned char byteAt(std::string_view bytes, std::size_t at) {
    return at < bytes.size() ? static_cast<unsigned char>(bytes[at]) : 0;
}

/// The first byte of a character: the character's length, and the range of second bytes that excludes
/// overlong forms, surrogates and values beyond Unicode.
struct Lead {
    std::size_t length = 0;  ///< 0 for a byte that cannot be first
    unsigned char lowest = 0x80;
    unsigned char highest = 0xBF;
};

Lead leadOf(unsigned char byte) {
    if (byte < 0x80) return {1};
    if (byte < 0xC2 || byte > 0xF4) return {};
    if (byte < 0xE0) return {2};
    if (byte == 0xE0) return {3, 0xA0};
    if (byte == 0xED) return {3, 0x80, 0x9F};
    if (byte < 0xF0) return {3};
    if (byte == 0xF0) return {4, 0x90};
    if (byte == 0xF4) return {4, 0x80, 0x8F};
    return {4};
}

/// The number of leading bytes that form a character, or the beginning of one.
std::size_t wellFormed(std::string_view bytes, const Lead& lead) {
    const unsigned char second = byteAt(bytes, 1);
    if (lead.length < 2 || second < lead.lowest || second > lead.highest) return std::min(lead.length, 1UL);
    std::size_t count = 2;
    while (count < lead.length && (byteAt(bytes, count) & 0xC0) == 0x80)
        ++count;
    return count;
}

void appendLatin1(std::string& text, char character) {
    const auto byte = static_cast<unsigned char>(character);
    if (byte < 0x80) {
        text += character;
    } else {
        text += static_cast<char>(0xC0 | byte >> 6);
        text += static_cast<char>(0x80 | (byte & 0x3F));
    }
}

/// The escape sequence at the front without the escape: intermediate bytes and a final one.
std::string_view escapeSequence(std::string_view bytes) {
    std::size_t length = 1;
    while (byteAt(bytes, length) >= 0x20 && byteAt(bytes, length) <= 0x2F)
        ++length;
    return bytes.substr(1, length);
}

}  // namespace

std::string textFromUtf8(std::string_view bytes) {
    bytes = untilZero(bytes);
    std::string text;
    while (!bytes.empty()) {
        const Lead lead = leadOf(byteAt(bytes, 0));
        const std::size_t count = wellFormed(bytes, lead);
        text += lead.length > 0 && count == lead.length ? bytes.substr(0, count) : replacement;
        bytes.remove_prefix(std::max<std::size_t>(count, 1));
    }
    return text;
}

std::string textFromLatin1(std::string_view bytes) {
    std::string text;
    for (const char each : untilZero(bytes))
        appendLatin1(text, each);
    return text;
}

std::string textFromCompoundText(std::string_view bytes) {
    constexpr std::string_view utf8Begins = "\x1b%G";
    constexpr std::string_view utf8Ends = "\x1b%@";
    bytes = untilZero(bytes);
    std::string text;
    // Bytes below 0x80 and above have separate character sets; plain ones are ASCII and Latin-1.
    bool plainLow = true;
    bool plainHigh = true;
    bool inOtherSet = false;
    while (!bytes.empty()) {
        if (bytes.starts_with(utf8Begins)) {
            bytes.remove_prefix(utf8Begins.size());
            const std::string_view part = bytes.substr(0, bytes.find(utf8Ends));
            text += textFromUtf8(part);
            bytes.remove_prefix(std::min(bytes.size(), part.size() + utf8Ends.size()));
        } else if (bytes.front() == escape) {
            const std::string_view sequence = escapeSequence(bytes);
            const bool high = sequence.starts_with('-') || sequence.starts_with(')') ||
                              sequence.starts_with("$)") || sequence.starts_with("$-");
            (high ? plainHigh : plainLow) = sequence == (high ? "-A" : "(B");
            inOtherSet = false;
            bytes.remove_prefix(1 + sequence.size());
        } else {
            const bool plain = byteAt(bytes, 0) < 0x80 ? plainLow : plainHigh;
            if (plain) appendLatin1(text, bytes.front());
            if (!plain && !inOtherSet) text += replacement;
            inOtherSet = !plain;
            bytes.remove_prefix(1);
        }
    }
    return text;
}

}  // namespace lumicrate::x11
