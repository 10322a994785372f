// SPDX-License-Identifier: GPL-3.0-or-later
#include "App/CommandLine/Printing.h"

#include <fmt/core.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <utility>

namespace lumicrate::app {

std::string onOneLine(std::string text) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        const auto next = static_cast<unsigned char>(i + 1 < text.size() ? text[i + 1] : '\0');
        // C0 and DEL; then C1, which is U+0080 … U+009F.
        if (byte < ' ' || byte == 0x7F) text[i] = ' ';
        if (byte == 0xC2 && next < 0xA0) text.replace(i, 2, " ");
    }
    return text;
}

void printJson(const nlohmann::ordered_json& value) {
    fmt::print("{}\n", value.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace));
}

}  // namespace lumicrate::app
