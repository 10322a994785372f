// SPDX-License-Identifier: GPL-3.0-or-later
// The stacking order, what is recorded of it, and the texts and frames derived from window properties.
#include "Linux/X11/Capture/FilteredContent.h"
#include "Linux/X11/Capture/RecentArea.h"
#include "Linux/X11/Windows/WindowFacts.h"
#include "Linux/X11/Windows/WindowStack.h"
#include "Linux/X11/Windows/WindowText.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <functional>

namespace lumicrate::x11 {
namespace {

using namespace std::chrono_literals;
using std::string_view_literals::operator""sv;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

constexpr xcb_window_t root = 1;

std::vector<xcb_window_t> idsOf(const auto& windows) {
    std::vector<xcb_window_t> ids;
    for (const StackedWindow& each : windows)
        ids.push_back(each.id);
    return ids;
}

class WindowStackTests : public testing::Test {
 protected:
    /// Applies an event of a window that the root window reports, after `set` has filled in the rest.
    template <class Event>
    std::optional<StackChange> apply(
        int type, xcb_window_t window, const std::function<void(Event&)>& set = [](Event&) {}) {
        Event event{};
        event.response_type = static_cast<std::uint8_t>(type);
        event.window = window;
        if constexpr (requires { event.event; }) event.event = root;
        set(event);
        xcb_generic_event_t generic{};
        std::memcpy(&generic, &event, std::min(sizeof event, sizeof generic));
        return stack.apply(generic, 7s);
    }
    void create(xcb_window_t window, xcb_window_t parent = root) {
        apply<xcb_create_notify_event_t>(XCB_CREATE_NOTIFY, window, [&](auto& event) {
            event.parent = parent;
            event.x = -5;
            event.width = 100;
            event.height = 50;
            event.border_width = 3;
        });
    }
    std::optional<StackChange> configure(xcb_window_t window, xcb_window_t above) {
        return apply<xcb_configure_notify_event_t>(XCB_CONFIGURE_NOTIFY, window, [&](auto& event) {
            event.above_sibling = above;
            event.x = 40;
            event.width = 100;
            event.height = 50;
        });
    }
    void circulate(std::uint8_t place) {
        apply<xcb_circulate_notify_event_t>(XCB_CIRCULATE_NOTIFY, 20,
                                            [&](auto& event) { event.place = place; });
    }
    auto map() { return apply<xcb_map_notify_event_t>(XCB_MAP_NOTIFY, 10); }
    auto unmap(int sent = 0) { return apply<xcb_unmap_notify_event_t>(XCB_UNMAP_NOTIFY | sent, 10); }
    auto destroy(xcb_window_t window) {
        return apply<xcb_destroy_notify_event_t>(XCB_DESTROY_NOTIFY, window);
    }
    void reparent(xcb_window_t window, xcb_window_t parent) {
        apply<xcb_reparent_notify_event_t>(XCB_REPARENT_NOTIFY, window,
                                           [&](auto& event) { event.parent = parent; });
    }

    WindowStack stack{root};
};

TEST_F(WindowStackTests, TheOrderFollowsEvents) {
    for (const xcb_window_t window : {10U, 20U, 30U})
        create(window);
    create(40, 20);  // inside another window
    const std::pair<std::function<void()>, std::vector<xcb_window_t>> steps[] = {
        {[] {}, {10, 20, 30}},
        {[&] { configure(10, 20); }, {20, 10, 30}},
        {[&] { configure(30, XCB_NONE); }, {30, 20, 10}},
        {[&] { configure(30, 9999); }, {20, 10, 30}},  // above an unknown window
        {[&] { circulate(XCB_PLACE_ON_TOP); }, {10, 30, 20}},
        {[&] { circulate(XCB_PLACE_ON_BOTTOM); }, {20, 10, 30}},
        {[&] { reparent(10, 77); }, {20, 30}},
        {[&] { reparent(10, root); }, {20, 30, 10}},
        {[&] { destroy(30); }, {20, 10}},
    };
    for (const auto& [step, expected] : steps) {
        step();
        EXPECT_EQ(idsOf(stack.windows()), expected);
    }
}

TEST_F(WindowStackTests, AChangeContainsTheWindowBeforeAndAfter) {
    create(10);
    EXPECT_EQ(stack.find(10)->frame, (PixelRect{-5, 0, 106, 56}));
    const auto mapped = map();
    ASSERT_TRUE(mapped);
    EXPECT_FALSE(mapped->before.viewable);
    EXPECT_TRUE(mapped->after.viewable);
    EXPECT_EQ(mapped->after.mappedAt, 7s);
    EXPECT_FALSE(map()) << "no change";

    const auto moved = configure(10, XCB_NONE);
    ASSERT_TRUE(moved);
    EXPECT_EQ(moved->before.frame.x, -5);
    EXPECT_EQ(moved->after.frame, (PixelRect{40, 0, 100, 50}));
    apply<xcb_gravity_notify_event_t>(XCB_GRAVITY_NOTIFY, 10, [](auto& event) {
        event.x = 60;
        event.y = 8;
    });
    EXPECT_EQ(stack.find(10)->frame, (PixelRect{60, 8, 100, 50}));

    EXPECT_FALSE(unmap(0x80)) << "sent by a client, as a request";
    EXPECT_TRUE(stack.find(10)->viewable);
    const auto gone = destroy(10);
    ASSERT_TRUE(gone);
    EXPECT_TRUE(gone->before.viewable);
    EXPECT_FALSE(gone->after.viewable);
    EXPECT_FALSE(unmap());
}

TEST_F(WindowStackTests, QueriedAttributesCompleteTheEvents) {
    create(10);
    reparent(20, root);
    for (const xcb_window_t window : {10U, 20U})
        stack.setAttributes(window, {1, 2, 3, 4}, 0, {.known = true});
    EXPECT_EQ(stack.find(10)->frame, (PixelRect{-5, 0, 106, 56})) << "the event's frame is kept";
    EXPECT_EQ(stack.find(20)->frame, (PixelRect{1, 2, 3, 4}));
    EXPECT_TRUE(stack.forgetAttributes(10));
    EXPECT_FALSE(stack.find(10)->attributes.known);
    EXPECT_FALSE(stack.forgetAttributes(99));
}

TEST(ContentRuleTests, LayersAreTheWindowsThatMakeUpThePicture) {
    // Bottom to top: 10 everywhere, 20 translucent, 30 shaped, 40 small, 50 without pixels, 60 not mapped.
    WindowStack stack{root};
    const auto add = [&](xcb_window_t id, const PixelRect& frame, const WindowAttributes& attributes,
                         bool viewable = true) {
        stack.add({id, frame, 0, viewable, {}, attributes});
    };
    add(10, {0, 0, 200, 200}, {.opaque = true});
    add(20, {0, 0, 100, 100}, {.opaque = false});
    add(30, {50, 0, 100, 100}, {.opaque = true, .shaped = true, .parts = {{0, 0, 100, 10}}});
    add(40, {60, 20, 20, 20}, {.opaque = true});
    add(50, {0, 0, 200, 200}, {.inputOnly = true});
    add(60, {0, 0, 200, 200}, {.opaque = true}, false);

    constexpr auto excluding = SCContentFilter::Kind::displayExcludingWindows;
    constexpr auto including = SCContentFilter::Kind::displayIncludingWindows;
    constexpr PixelRect all{0, 0, 200, 200}, small{60, 20, 20, 20};
    const struct {
        SCContentFilter::Kind kind;
        std::vector<xcb_window_t> named;
        PixelRect rect;
        std::vector<xcb_window_t> layers;
    } cases[] = {
        {excluding, {}, all, {10, 20, 30, 40}},
        {excluding, {}, small, {40}},  // which hides the others
        {excluding, {40}, small, {10, 20, 30}},
        {excluding, {10, 30, XCB_NONE}, {120, 20, 20, 20}, {}},
        {including, {20}, small, {20}},
        // Overlays in stacking order hide the recorded window.
        {including, {40, 20, 10, 60}, small, {10, 20}},
        {including, {99}, small, {}},
    };
    for (const auto& [kind, named, rect, expected] : cases)
        EXPECT_EQ(idsOf(ContentRule{kind, named}.layersAt(rect, stack)), expected)
            << testing::PrintToString(named);
    const auto showsBackground = [&](std::vector<xcb_window_t> excluded, const PixelRect& rect) {
        return backgroundShows(rect, ContentRule{excluding, std::move(excluded)}.layersAt(rect, stack));
    };
    EXPECT_FALSE(showsBackground({}, all));
    EXPECT_TRUE(showsBackground({}, {190, 0, 20, 20}));
    EXPECT_TRUE(showsBackground({10}, {0, 0, 20, 20}));
    EXPECT_THAT(stack.coverOf(*stack.find(20)), UnorderedElementsAre(PixelRect{50, 0, 50, 10}, small));
    EXPECT_THAT(stack.coverOf(*stack.find(40)), IsEmpty());
}

TEST(RecentAreaTests, AreasExpireAndATrailStaysLimited) {
    RecentArea area;
    EXPECT_FALSE(area.nextExpiry());
    area.add({0, 0, 10, 10}, 1000ms);
    area.add({100, 0, 10, 10}, 1010ms);
    area.add({5, 5, 10, 10}, 1020ms);
    EXPECT_THAT(area.rectangles(), UnorderedElementsAre(PixelRect{0, 0, 15, 15}, PixelRect{100, 0, 10, 10}))
        << "overlapping rectangles in quick succession are joined";
    area.add({5, 5, 10, 10}, 1100ms);
    EXPECT_EQ(area.rectangles().size(), 3U);
    EXPECT_EQ(area.nextExpiry(), 1010ms);
    area.expire(1020ms);
    EXPECT_THAT(area.rectangles(), ElementsAre(PixelRect{5, 5, 10, 10}));

    // A window that is dragged for two seconds leaves the trail of the last second only.
    RecentArea trail;
    for (int i = 0; i < 2000; ++i) {
        trail.expire(i * 1ms);
        trail.add({i, 0, 50, 50}, i * 1ms + 1000ms);
    }
    PixelRect all;
    for (const PixelRect& rect : trail.rectangles())
        all = all.boundingUnion(rect);
    EXPECT_LE(trail.rectangles().size(), 30U);
    EXPECT_LE(all.x, 1000);
    EXPECT_GE(all.x, 900);
    EXPECT_EQ(all.maxX(), 2049);
}

TEST(WindowTextTests, Utf8IsKeptAndInvalidBytesAreReplaced) {
    using Case = std::pair<std::string_view, std::string_view>;
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
