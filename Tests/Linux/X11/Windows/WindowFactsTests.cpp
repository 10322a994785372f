// The texts and frames derived from window properties.
#include "Linux/X11/Windows/WindowFacts.h"
#include "Linux/X11/Windows/WindowText.h"

#include <gtest/gtest.h>

namespace lumicrate::x11 {
namespace {

using std::string_view_literals::operator""sv;

TEST(WindowTextTests, Utf8IsKeptAndInvalidBytesAreReplaced) {
    struct Case {
        std::string_view bytes;
        std::string_view text;
    };
    for (const auto& [bytes, text] : {
             Case{"", ""},
             Case{"Ünïcödé 日本語 العربية 🎬", "Ünïcödé 日本語 العربية 🎬"},
             Case{"\x7f\xC2\x80\xDF\xBF\xEF\xBF\xBD\xF4\x8F\xBF\xBF", "\x7f\u0080\u07FF\uFFFD\U0010FFFF"},
             Case{"until\0here"sv, "until"},
             Case{"caf\xE9!", "caf\uFFFD!"},
             Case{"\x80\xBF\xFE\xFF", "\uFFFD\uFFFD\uFFFD\uFFFD"},
             Case{"\xC0\xAF", "\uFFFD\uFFFD"},                        // longer than it has to be
             Case{"\xE0\x80\x80", "\uFFFD\uFFFD\uFFFD"},              // the same
             Case{"\xED\xA0\x80", "\uFFFD\uFFFD\uFFFD"},              // half of a surrogate pair
             Case{"\xF4\x90\x80\x80x", "\uFFFD\uFFFD\uFFFD\uFFFDx"},  // beyond Unicode
             Case{"\xE6\x97x", "\uFFFDx"},
             Case{"\xF0\x9F\x8E", "\uFFFD"},  // cut off
             Case{"\xE6\xE6\x97\xA5", "\uFFFD日"},
         })
        EXPECT_EQ(textFromUtf8(bytes), text);
}

TEST(WindowTextTests, OlderEncodingsBecomeUtf8) {
    EXPECT_EQ(textFromLatin1("Caf\xE9 \xFF\0x"sv), "Café ÿ");
    for (const auto& [bytes, text] : {
             std::pair{"Caf\xE9"sv, "Café"},
             std::pair{"a \x1b%G日本\x1b%@ b\xE9"sv, "a 日本 bé"},
             std::pair{"\x1b%G日本"sv, "日本"},
             std::pair{"x\x1b$(BF|K\\\x1b(By\xE9"sv, "x\uFFFDyé"},    // Japanese, below 0x80
             std::pair{"x\x1b-F\xE1\xE2y\x1b-A\xE9"sv, "x\uFFFDyé"},  // Greek, above it
             std::pair{"x\x1b$"sv, "x"},
         })
        EXPECT_EQ(textFromCompoundText(bytes), text);
}

TEST(WindowFrameTests, IncludesDecorationsButNotShadows) {
    const PixelRect outline{100, 100, 200, 150};
    const PixelRect contents{102, 120, 196, 128};
    struct Case {
        const char* name;
        WindowGeometry geometry;
        PixelRect frame;
    };
    for (const auto& [name, geometry, frame] : {
             Case{"nothing known", {outline, contents, true, {}, {}}, outline},
             Case{"decorated", {outline, contents, true, {2, 2, 20, 2}, {}}, outline},
             Case{"decorated by a frame with an invisible rim",
                  {{90, 90, 220, 170}, contents, true, {2, 2, 20, 2}, {}},
                  outline},
             Case{"rolled up", {{100, 100, 200, 20}, contents, true, {2, 2, 20, 2}, {}}, {100, 100, 200, 20}},
             Case{"decorated without reparenting", {contents, contents, false, {2, 2, 20, 2}, {}}, outline},
             Case{"shadow", {contents, contents, false, {}, {10, 20, 30, 40}}, {112, 150, 166, 58}},
             Case{"shadow in a bare frame",
                  {contents, contents, true, {}, {10, 20, 30, 40}},
                  {112, 150, 166, 58}},
             Case{"shadow in a decorated frame",
                  {outline, contents, true, {2, 2, 20, 2}, {9, 9, 9, 9}},
                  outline},
             Case{"nothing but shadow", {outline, contents, false, {}, {98, 98, 0, 0}}, outline},
             Case{"frame elsewhere", {{900, 900, 9, 9}, contents, true, {2, 2, 20, 2}, {}}, {900, 900, 9, 9}},
         })
        EXPECT_EQ(visibleFrame(geometry), frame) << name;
}

}  // namespace
}  // namespace lumicrate::x11
