// SPDX-License-Identifier: GPL-3.0-or-later
// Decodes the texts of window properties to UTF-8.
#pragma once

#include <string>
#include <string_view>

namespace lumicrate::x11 {

// All functions return valid UTF-8 and stop at a zero byte, which some programs include in the property.

/// Each invalid sequence becomes U+FFFD.
std::string textFromUtf8(std::string_view bytes);
/// The type STRING.
std::string textFromLatin1(std::string_view bytes);
/// The type COMPOUND_TEXT: its ASCII, Latin-1 and UTF-8 parts. A part in another character set becomes one
/// U+FFFD; programs that write such titles also set _NET_WM_NAME.
std::string textFromCompoundText(std::string_view bytes);

}  // namespace lumicrate::x11
