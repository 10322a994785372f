// Small and capital letters, and the characters that are no writing, as names of keys need them.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace lumicrate {

/// The characters of a UTF-8 text; nothing when it is not valid.
std::optional<std::u32string> decodeUtf8(std::string_view text);
std::string encodeUtf8(std::u32string_view characters);

/// The letter's other form, for the scripts with capitals that keyboards type; all else, and a letter that
/// has no single capital, comes back as it is.
char32_t smallLetter(char32_t character);
char32_t capitalLetter(char32_t character);

/// Whether a character steers and shows nothing by itself: the general categories Cc and Cf.
bool isControlCharacter(char32_t character);

}  // namespace lumicrate
