// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/X11/Input/KeyCodes.h"

#include <gtest/gtest.h>

#include <map>
#include <utility>

namespace lumicrate::x11 {
namespace {

/// X key codes, with their symbols without and with Shift.
KeyCodes codesOf(const std::map<int, std::pair<xcb_keysym_t, xcb_keysym_t>>& keys) {
    KeyboardMap map{8, 2, std::vector<xcb_keysym_t>(2 * 248)};
    for (const auto& [key, symbols] : keys) {
        map.symbols[static_cast<std::size_t>(2 * (key - 8))] = symbols.first;
        map.symbols[static_cast<std::size_t>(2 * (key - 8) + 1)] = symbols.second;
    }
    return KeyCodes(map);
}

TEST(KeyCodesTests, ASymbolHasPriorityOverThePosition) {
    // Part of a French keyboard: 1 is Shift and the ampersand key, 6 is Shift and the minus key.
    const KeyCodes codes = codesOf({{10, {'&', '1'}},
                                    {15, {'-', '6'}},
                                    {24, {'a', 'A'}},
                                    {38, {'q', 'Q'}},
                                    {47, {'m', 'M'}},
                                    {48, {0xf9, '%'}},
                                    {87, {0xff9c, 0xffb1}}});
    const std::pair<std::uint32_t, int> places[] = {{0, 24},  {12, 38}, {46, 47},       {18, 10}, {27, 15},
                                                    {22, 15}, {39, 48}, {83, 87},       {41, 0},  {15, 0},
                                                    {127, 0}, {128, 0}, {0xffffffff, 0}};
    for (const auto& [code, key] : places)
        EXPECT_EQ(codes.keyOf(code), key) << code;
    EXPECT_EQ(codes.virtualKeyCodeOf(10), 18);
    EXPECT_EQ(codes.virtualKeyCodeOf(15), 27);
    EXPECT_EQ(codes.virtualKeyCodeOf(11), -1);
}

TEST(KeyCodesTests, TheFirstOfSeveralKeysGetsTheCode) {
    const KeyCodes codes = codesOf({{36, {0xff0d, 0}}, {200, {0xff0d, 0}}, {255, {0xff1b, 0}}});
    EXPECT_EQ(codes.keyOf(36), 36);
    EXPECT_EQ(codes.virtualKeyCodeOf(200), -1);
    EXPECT_EQ(codes.keyOf(53), 255);
    EXPECT_EQ(KeyCodes(KeyboardMap{}).keyOf(36), 0);
}

}  // namespace
}  // namespace lumicrate::x11
