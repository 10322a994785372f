#include "Linux/X11/Capture/FilteredContent.h"
#include "Linux/X11/Capture/RecentArea.h"
#include "Linux/X11/Windows/WindowStack.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>

namespace lumicrate::x11 {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

constexpr xcb_window_t root = 1;

class WindowStackTests : public testing::Test {
 protected:
    template <class Event>
    std::optional<StackChange> take(std::uint8_t type, Event event) {
        event.response_type = type;
        xcb_generic_event_t generic{};
        std::memcpy(&generic, &event, std::min(sizeof event, sizeof generic));
        return stack.apply(generic, 7s);
    }
    template <class Event>
    static Event on(xcb_window_t window) {
        Event event{};
        event.event = root;
        event.window = window;
        return event;
    }
    void create(xcb_window_t window, std::int16_t x = 0, std::uint16_t border = 0,
                xcb_window_t parent = root) {
        xcb_create_notify_event_t event{};
        event.parent = parent;
        event.window = window;
        event.x = x;
        event.width = 100;
        event.height = 50;
        event.border_width = border;
        take(XCB_CREATE_NOTIFY, event);
    }
    std::optional<StackChange> configure(xcb_window_t window, xcb_window_t above, std::int16_t x = 0) {
        auto event = on<xcb_configure_notify_event_t>(window);
        event.above_sibling = above;
        event.x = x;
        event.width = 100;
        event.height = 50;
        return take(XCB_CONFIGURE_NOTIFY, event);
    }
    std::optional<StackChange> map(xcb_window_t window) {
        return take(XCB_MAP_NOTIFY, on<xcb_map_notify_event_t>(window));
    }
    std::optional<StackChange> unmap(xcb_window_t window, std::uint8_t sent = 0) {
        return take(XCB_UNMAP_NOTIFY | sent, on<xcb_unmap_notify_event_t>(window));
    }
    std::optional<StackChange> reparent(xcb_window_t window, xcb_window_t parent) {
        auto event = on<xcb_reparent_notify_event_t>(window);
        event.parent = parent;
        return take(XCB_REPARENT_NOTIFY, event);
    }
    std::vector<xcb_window_t> order() const {
        std::vector<xcb_window_t> ids;
        for (const StackedWindow& each : stack.windows())
            ids.push_back(each.id);
        return ids;
    }

    WindowStack stack{root};
};

TEST_F(WindowStackTests, TheOrderFollowsWhatTheServerTells) {
    for (const xcb_window_t window : {10U, 20U, 30U})
        create(window);
    create(40, 0, 0, 20);  // in another window
    EXPECT_THAT(order(), ElementsAre(10, 20, 30));
    configure(10, 20);
    EXPECT_THAT(order(), ElementsAre(20, 10, 30));
    configure(30, XCB_NONE);
    EXPECT_THAT(order(), ElementsAre(30, 20, 10));
    configure(30, 9999);  // above what is none of ours
    EXPECT_THAT(order(), ElementsAre(20, 10, 30));

    auto circulated = on<xcb_circulate_notify_event_t>(20);
    circulated.place = XCB_PLACE_ON_TOP;
    take(XCB_CIRCULATE_NOTIFY, circulated);
    EXPECT_THAT(order(), ElementsAre(10, 30, 20));
    circulated.place = XCB_PLACE_ON_BOTTOM;
    take(XCB_CIRCULATE_NOTIFY, circulated);
    EXPECT_THAT(order(), ElementsAre(20, 10, 30));

    reparent(10, 77);
    EXPECT_THAT(order(), ElementsAre(20, 30));
    reparent(10, root);
    EXPECT_THAT(order(), ElementsAre(20, 30, 10));
    take(XCB_DESTROY_NOTIFY, on<xcb_destroy_notify_event_t>(30));
    EXPECT_THAT(order(), ElementsAre(20, 10));
}

TEST_F(WindowStackTests, AChangeTellsHowTheWindowWasAndIs) {
    create(10, -5, 3);
    EXPECT_EQ(stack.find(10)->frame, (PixelRect{-5, 0, 106, 56}));
    const auto mapped = map(10);
    ASSERT_TRUE(mapped);
    EXPECT_FALSE(mapped->before.viewable);
    EXPECT_TRUE(mapped->after.viewable);
    EXPECT_EQ(mapped->after.mappedAt, 7s);
    EXPECT_FALSE(map(10)) << "told twice";

    const auto moved = configure(10, XCB_NONE, 40);
    ASSERT_TRUE(moved);
    EXPECT_EQ(moved->before.frame.x, -5);
    EXPECT_EQ(moved->after.frame, (PixelRect{40, 0, 100, 50}));
    auto drawn = on<xcb_gravity_notify_event_t>(10);
    drawn.x = 60;
    drawn.y = 8;
    take(XCB_GRAVITY_NOTIFY, drawn);
    EXPECT_EQ(stack.find(10)->frame, (PixelRect{60, 8, 100, 50}));

    EXPECT_FALSE(unmap(10, 0x80)) << "sent by a program, which only asks for it";
    EXPECT_TRUE(stack.find(10)->viewable);
    const auto gone = take(XCB_DESTROY_NOTIFY, on<xcb_destroy_notify_event_t>(10));
    ASSERT_TRUE(gone);
    EXPECT_TRUE(gone->before.viewable);
    EXPECT_FALSE(gone->after.viewable);
    EXPECT_FALSE(unmap(10));
}

TEST_F(WindowStackTests, WhatIsAskedForCompletesWhatEventsTell) {
    create(10);
    reparent(20, root);
    for (const xcb_window_t window : {10U, 20U})
        stack.setAttributes(window, {1, 2, 3, 4}, 0, {.known = true});
    EXPECT_EQ(stack.find(10)->frame, (PixelRect{0, 0, 100, 50})) << "events know better";
    EXPECT_EQ(stack.find(20)->frame, (PixelRect{1, 2, 3, 4}));
    ASSERT_TRUE(stack.forgetAttributes(10));
    EXPECT_FALSE(stack.find(10)->attributes.known);
    EXPECT_FALSE(stack.forgetAttributes(99));
}

/// Bottom to top: 10 all over, 20 translucent, 30 with a hole, 40 small, 50 without pixels, 60 not mapped.
class ContentRuleTests : public testing::Test {
 protected:
    void add(xcb_window_t id, const PixelRect& frame, const WindowAttributes& nature, bool viewable = true) {
        stack.add({id, frame, 0, viewable, {}, nature});
    }
    void SetUp() override {
        add(10, {0, 0, 200, 200}, {.opaque = true});
        add(20, {0, 0, 100, 100}, {.opaque = false});
        add(30, {50, 0, 100, 100}, {.opaque = true, .shaped = true, .parts = {{0, 0, 100, 10}}});
        add(40, {60, 20, 20, 20}, {.opaque = true});
        add(50, {0, 0, 200, 200}, {.inputOnly = true});
        add(60, {0, 0, 200, 200}, {.opaque = true}, false);
    }
    std::vector<xcb_window_t> layers(SCContentFilter::Kind kind, std::vector<xcb_window_t> named,
                                     const PixelRect& rect) {
        std::vector<xcb_window_t> ids;
        for (const StackedWindow& each : ContentRule{kind, std::move(named)}.layersAt(rect, stack))
            ids.push_back(each.id);
        return ids;
    }

    WindowStack stack{root};
};

TEST_F(ContentRuleTests, LayersAreThoseThatMakeUpThePicture) {
    constexpr auto excluding = SCContentFilter::Kind::displayExcludingWindows;
    constexpr auto including = SCContentFilter::Kind::displayIncludingWindows;
    EXPECT_THAT(layers(excluding, {}, {0, 0, 200, 200}), ElementsAre(10, 20, 30, 40));
    EXPECT_THAT(layers(excluding, {}, {60, 20, 20, 20}), ElementsAre(40)) << "which hides all else";
    EXPECT_THAT(layers(excluding, {40}, {60, 20, 20, 20}), ElementsAre(10, 20, 30));
    EXPECT_THAT(layers(excluding, {10, 30, XCB_NONE}, {120, 20, 20, 20}), IsEmpty());
    EXPECT_THAT(layers(including, {20}, {60, 20, 20, 20}), ElementsAre(20));
    EXPECT_THAT(layers(including, {40, 20, 10, 60}, {60, 20, 20, 20}), ElementsAre(10, 20))
        << "overlays are above the window recorded, in their own order";
    EXPECT_THAT(layers(including, {99}, {60, 20, 20, 20}), IsEmpty());

    const auto showsBackground = [&](std::vector<xcb_window_t> excluded, const PixelRect& rect) {
        return backgroundShows(rect, ContentRule{excluding, std::move(excluded)}.layersAt(rect, stack));
    };
    EXPECT_FALSE(showsBackground({}, {0, 0, 200, 200}));
    EXPECT_TRUE(showsBackground({}, {190, 0, 20, 20}));
    EXPECT_TRUE(showsBackground({10}, {0, 0, 20, 20}));
}

TEST_F(ContentRuleTests, WhatLiesOverAWindowIsCounted) {
    EXPECT_THAT(stack.coverOf(*stack.find(20)),
                UnorderedElementsAre(PixelRect{50, 0, 50, 10}, PixelRect{60, 20, 20, 20}));
    EXPECT_THAT(stack.coverOf(*stack.find(40)), IsEmpty());
}

TEST(RecentAreaTests, AnAreaLingersAndATrailDoesNotGrowForEver) {
    RecentArea area;
    EXPECT_FALSE(area.nextExpiry());
    area.add({0, 0, 10, 10}, 1000ms);
    area.add({100, 0, 10, 10}, 1010ms);
    area.add({5, 5, 10, 10}, 1020ms);
    EXPECT_THAT(area.rectangles(), UnorderedElementsAre(PixelRect{0, 0, 15, 15}, PixelRect{100, 0, 10, 10}))
        << "steps in short order are one";
    area.add({5, 5, 10, 10}, 1100ms);
    EXPECT_EQ(area.rectangles().size(), 3U);
    EXPECT_EQ(area.nextExpiry(), 1010ms);
    area.expire(1020ms);
    EXPECT_THAT(area.rectangles(), ElementsAre(PixelRect{5, 5, 10, 10}));

    // A window dragged for two seconds leaves the trail of the last one only.
    RecentArea trail;
    for (int i = 0; i < 2000; ++i) {
        const auto now = std::chrono::milliseconds(i);
        trail.expire(now);
        trail.add({i, 0, 50, 50}, now + 1000ms);
    }
    PixelRect all;
    for (const PixelRect& rect : trail.rectangles())
        all = all.boundingUnion(rect);
    EXPECT_LE(trail.rectangles().size(), 30U);
    EXPECT_LE(all.x, 1000);
    EXPECT_GE(all.x, 900);
    EXPECT_EQ(all.maxX(), 2049);
}

}  // namespace
}  // namespace lumicrate::x11
