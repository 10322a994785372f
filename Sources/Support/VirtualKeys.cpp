// SPDX-License-Identifier: GPL-3.0-or-later
#include "Support/VirtualKeys.h"

#include <algorithm>

namespace lumicrate {

namespace {

constexpr VirtualKey keys[] = {
    // Letters
    {0, 'a', "a", 0, 38},
    {11, 'b', "b", 0, 56},
    {8, 'c', "c", 0, 54},
    {2, 'd', "d", 0, 40},
    {14, 'e', "e", 0, 26},
    {3, 'f', "f", 0, 41},
    {5, 'g', "g", 0, 42},
    {4, 'h', "h", 0, 43},
    {34, 'i', "i", 0, 31},
    {38, 'j', "j", 0, 44},
    {40, 'k', "k", 0, 45},
    {37, 'l', "l", 0, 46},
    {46, 'm', "m", 0, 58},
    {45, 'n', "n", 0, 57},
    {31, 'o', "o", 0, 32},
    {35, 'p', "p", 0, 33},
    {12, 'q', "q", 0, 24},
    {15, 'r', "r", 0, 27},
    {1, 's', "s", 0, 39},
    {17, 't', "t", 0, 28},
    {32, 'u', "u", 0, 30},
    {9, 'v', "v", 0, 55},
    {13, 'w', "w", 0, 25},
    {7, 'x', "x", 0, 53},
    {16, 'y', "y", 0, 29},
    {6, 'z', "z", 0, 52},
    // Digits
    {18, '1', "1", 0, 10},
    {19, '2', "2", 0, 11},
    {20, '3', "3", 0, 12},
    {21, '4', "4", 0, 13},
    {23, '5', "5", 0, 14},
    {22, '6', "6", 0, 15},
    {26, '7', "7", 0, 16},
    {28, '8', "8", 0, 17},
    {25, '9', "9", 0, 18},
    {29, '0', "0", 0, 19},
    // Punctuation
    {27, '-', "minus", 0, 20},
    {24, '=', "equal", 0, 21},
    {33, '[', "bracketleft", 0, 34},
    {30, ']', "bracketright", 0, 35},
    {41, ';', "semicolon", 0, 47},
    {39, '\'', "apostrophe", 0, 48},
    {50, '`', "grave", 0, 49},
    {42, '\\', "backslash", 0, 51},
    {43, ',', "comma", 0, 59},
    {47, '.', "period", 0, 60},
    {44, '/', "slash", 0, 61},
    {10, 0xa7, "section", 0, 94},
    // Keys that type no character
    {49, ' ', "space", 0, 0},
    {36, 0xff0d, "Return", 0, 0},
    {48, 0xff09, "Tab", 0, 0},
    {51, 0xff08, "BackSpace", 0, 0},
    {53, 0xff1b, "Escape", 0, 0},
    {117, 0xffff, "Delete", 0, 0},
    {114, 0xff63, "Insert", 0xff6a /* Help */, 118},
    {123, 0xff51, "Left", 0, 0},
    {126, 0xff52, "Up", 0, 0},
    {124, 0xff53, "Right", 0, 0},
    {125, 0xff54, "Down", 0, 0},
    {115, 0xff50, "Home", 0, 0},
    {119, 0xff57, "End", 0, 0},
    {116, 0xff55, "Prior", 0, 0},
    {121, 0xff56, "Next", 0, 0},
    // F1 to F19
    {122, 0xffbe, "F1", 0, 0},
    {120, 0xffbf, "F2", 0, 0},
    {99, 0xffc0, "F3", 0, 0},
    {118, 0xffc1, "F4", 0, 0},
    {96, 0xffc2, "F5", 0, 0},
    {97, 0xffc3, "F6", 0, 0},
    {98, 0xffc4, "F7", 0, 0},
    {100, 0xffc5, "F8", 0, 0},
    {101, 0xffc6, "F9", 0, 0},
    {109, 0xffc7, "F10", 0, 0},
    {103, 0xffc8, "F11", 0, 0},
    {111, 0xffc9, "F12", 0, 0},
    {105, 0xffca, "F13", 0x1008ff81 /* Tools */, 191},
    {107, 0xffcb, "F14", 0x1008ff45 /* Launch 5 */, 192},
    {113, 0xffcc, "F15", 0x1008ff46 /* Launch 6 */, 193},
    {106, 0xffcd, "F16", 0x1008ff47 /* Launch 7 */, 194},
    {64, 0xffce, "F17", 0x1008ff48 /* Launch 8 */, 195},
    {79, 0xffcf, "F18", 0x1008ff49 /* Launch 9 */, 196},
    {80, 0xffd0, "F19", 0, 0},
    // Keypad, without and with Num Lock
    {82, 0xff9e, "KP_Insert", 0xffb0, 90},
    {83, 0xff9c, "KP_End", 0xffb1, 87},
    {84, 0xff99, "KP_Down", 0xffb2, 88},
    {85, 0xff9b, "KP_Next", 0xffb3, 89},
    {86, 0xff96, "KP_Left", 0xffb4, 83},
    {87, 0xff9d, "KP_Begin", 0xffb5, 84},
    {88, 0xff98, "KP_Right", 0xffb6, 85},
    {89, 0xff95, "KP_Home", 0xffb7, 79},
    {91, 0xff97, "KP_Up", 0xffb8, 80},
    {92, 0xff9a, "KP_Prior", 0xffb9, 81},
    {65, 0xff9f, "KP_Delete", 0xffae, 91},
    {67, 0xffaa, "KP_Multiply", 0, 0},
    {69, 0xffab, "KP_Add", 0, 0},
    {75, 0xffaf, "KP_Divide", 0, 0},
    {76, 0xff8d, "KP_Enter", 0, 0},
    {78, 0xffad, "KP_Subtract", 0, 0},
    {81, 0xffbd, "KP_Equal", 0, 0},
    {71, 0xff0b, "Clear", 0xff7f /* Num Lock */, 77},
};

}  // namespace

std::span<const VirtualKey> virtualKeys() {
    return keys;
}

const VirtualKey* virtualKey(std::uint32_t code) {
    const auto* const found = std::ranges::find(keys, code, &VirtualKey::code);
    return found != std::end(keys) ? found : nullptr;
}

}  // namespace lumicrate
