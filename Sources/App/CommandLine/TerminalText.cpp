#include "App/CommandLine/TerminalText.h"

#include <cstddef>

namespace lumicrate::app {

std::string onOneLine(std::string text) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        const auto next = static_cast<unsigned char>(i + 1 < text.size() ? text[i + 1] : '\0');
        // The control characters of ASCII, and those that follow it in Unicode.
        if (byte < ' ' || byte == 0x7F) text[i] = ' ';
        if (byte == 0xC2 && next < 0xA0) text.replace(i, 2, " ");
    }
    return text;
}

}  // namespace lumicrate::app
