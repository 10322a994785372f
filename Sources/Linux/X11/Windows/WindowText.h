// Texts of windows, in the encodings that they come in, as UTF-8.
#pragma once

#include <string>
#include <string_view>

namespace lumicrate::x11 {

// All of them give valid UTF-8, and end at a zero byte, which some programs count as part of the text.

/// What is not UTF-8 becomes U+FFFD.
std::string textFromUtf8(std::string_view bytes);
/// The type STRING.
std::string textFromLatin1(std::string_view bytes);
/// The type COMPOUND_TEXT: its ASCII, Latin-1 and UTF-8 parts. A part in one of the character sets from
/// before Unicode becomes a U+FFFD; whoever writes these writes the title in UTF-8 beside.
std::string textFromCompoundText(std::string_view bytes);

}  // namespace lumicrate::x11
