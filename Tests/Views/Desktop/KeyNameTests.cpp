// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/Desktop/KeyMonitor.h"

#include <gtest/gtest.h>

namespace lumicrate::views {
namespace {

TEST(KeyNameTests, IsInUpperCaseAndNeverAControlCharacter) {
    const std::pair<const char*, const char*> cases[] = {
        {"r", "R"}, {"7", "7"},   {"ě", "Ě"},   {"ж", "Ж"},     {"ё", "Ё"},     {"ί", "Ί"},
        {"ς", "Σ"}, {"ÿ", "Ÿ"},   {"ß", "ß"},   {"×", "×"},     {"ა", "ა"},     {"あ𝄞", "あ𝄞"},
        {"", ""},   {"\x1b", ""}, {"\x7f", ""}, {"\u0085", ""}, {"\u200d", ""}, {"\ufeff", ""},
    };
    for (const auto& [typed, name] : cases)
        EXPECT_EQ(keyName(QString::fromUtf8(typed)), name) << typed;
}

}  // namespace
}  // namespace lumicrate::views
