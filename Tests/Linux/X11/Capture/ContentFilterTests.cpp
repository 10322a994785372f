// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/X11/Capture/FilteredContent.h"
#include "Linux/X11/Windows/WindowOrder.h"
#include "Lumicrate/Capture/NeverRecorded.h"
#include "Tests/Linux/X11/Capture/ScreenStage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>
#include <xcb/composite.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <memory>
#include <random>
#include <thread>

namespace lumicrate::x11 {
namespace {

using test::eventually;
using test::Picture;
using test::plain;
using test::ScreenStage;
using test::TestWindow;

constexpr PixelRect whole = ScreenStage::whole;
/// The colour of windows that must not be shown. Nothing else has a similar one.
constexpr std::uint32_t forbidden = 0xff00ff;
/// Of ICCCM.
constexpr std::uint32_t iconicState = 3;

void paint(pictures::BgraPicture& picture, const PixelRect& rect, std::uint32_t colour) {
    const PixelRect inside = rect.intersection(picture.bounds());
    for (int y = inside.y; y < inside.maxY(); ++y)
        std::fill_n(picture.row(y) + inside.x, inside.width, colour);
}

/// Blends a premultiplied colour with an opacity of 0x80 over a part.
void veil(pictures::BgraPicture& picture, const PixelRect& rect, std::uint32_t over) {
    for (int y = rect.y; y < rect.maxY(); ++y) {
        for (int x = rect.x; x < rect.maxX(); ++x) {
            const std::uint32_t under = picture.row(y)[x];
            std::uint32_t blended = 0;
            for (const int shift : {0, 8, 16})
                blended |= ((under >> shift & 0xff) * 127 / 255 + (over >> shift & 0xff)) << shift;
            picture.row(y)[x] = blended;
        }
    }
}

/// Squares of colours without red, different for each seed.
pictures::BgraPicture pattern(unsigned seed, int width = whole.width, int height = whole.height) {
    std::mt19937 random(seed);
    pictures::BgraPicture picture(width, height);
    for (int y = 0; y < height; y += 10)
        for (int x = 0; x < width; x += 10)
            paint(picture, {x, y, 10, 10}, static_cast<std::uint32_t>(random()) & 0xffff);
    return picture;
}

pictures::BgraPicture cut(const pictures::BgraPicture& from, const PixelRect& rect) {
    return test::painted(rect.width, rect.height,
                         [&](int x, int y) { return from.row(rect.y + y)[rect.x + x]; });
}

/// A black screen with a picture on it.
pictures::BgraPicture screenWith(const pictures::BgraPicture& picture, int x, int y) {
    pictures::BgraPicture screen(whole.width, whole.height);
    for (int row = 0; row < picture.height(); ++row)
        std::copy_n(picture.row(row), picture.width(), screen.row(y + row) + x);
    return screen;
}

/// A window with the number of one that was destroyed, as another program may get it.
void reuse(const TestWindow& gone, const PixelRect& frame, std::uint32_t colour) {
    const Connection& connection = gone.connection();
    const std::uint32_t values[] = {colour, 1};
    const xcb_rectangle_t area = test::xcbRectangle(frame);
    xcb_create_window(connection.get(), XCB_COPY_FROM_PARENT, gone.id(), connection.root(), area.x, area.y,
                      area.width, area.height, 0, XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT,
                      XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT, values);
    xcb_map_window(connection.get(), gone.id());
    connection.sync();
}

bool showsForbidden(const CVPixelBuffer& buffer) {
    for (int y = 0; y < (buffer.height + 1) / 2; ++y) {
        const std::uint8_t* const row = buffer.chroma + y * buffer.chromaStride;
        for (int x = 0; x < (buffer.width + 1) / 2 * 2; x += 2)
            if (row[x] > 170 && row[x + 1] > 170) return true;
    }
    return false;
}

/// With and without a compositing manager. Every frame is checked for the forbidden colour.
class ContentFilterTests : public testing::TestWithParam<bool> {
 protected:
    ContentFilterTests() {
        stage.frames.onFrame = [this](const CMSampleBuffer& sample) {
            if (showsForbidden(*sample.imageBuffer)) ++forbiddenFrames;
        };
    }
    void TearDown() override {
        stage.expectNoFault();
        EXPECT_EQ(forbiddenFrames, 0);
    }

    TestWindow show(const TestWindow::Look& look) const { return {stage.server.displayName(), look}; }
    TestWindow window(const PixelRect& frame, std::uint32_t colour = forbidden) const {
        return show({.frame = frame, .colour = colour});
    }
    TestWindow window(const PixelRect& frame, const pictures::BgraPicture& content) const {
        TestWindow shown = window(frame, 0x204060);
        shown.fill(content);
        return shown;
    }
    /// Also names a window that does not exist.
    static std::vector<SCWindow> windows(std::initializer_list<const TestWindow*> which) {
        std::vector<SCWindow> all;
        for (const TestWindow* each : which)
            all.emplace_back().windowID = each->id();
        all.emplace_back().windowID = 0x7654321;
        return all;
    }
    void captureWithout(std::initializer_list<const TestWindow*> which) {
        stage.capture(SCContentFilter::excludingWindows(stage.display(), windows(which)));
    }
    void captureOnly(std::initializer_list<const TestWindow*> which) {
        stage.capture(SCContentFilter::includingWindows(stage.display(), windows(which)));
    }
    /// All windows of this process, except these.
    SCContentFilter withoutProcess(std::initializer_list<const TestWindow*> excepting) const {
        SCContentFilter filter = SCContentFilter::excludingWindows(stage.display(), {});
        filter.excludedProcessID = getpid();
        for (const TestWindow* each : excepting)
            filter.exceptingWindows.push_back(each->id());
        return filter;
    }
    bool shows(const pictures::BgraPicture& picture) { return stage.frames.waitForPicture(Picture(picture)); }
    /// With a deviation of one in every sample, because blending rounds.
    bool nearlyShows(const pictures::BgraPicture& picture) {
        return stage.frames.waitUntil([wanted = Picture(picture)](const auto& seen) {
            const auto near = [](std::uint8_t a, std::uint8_t b) { return std::abs(a - b) <= 1; };
            return std::ranges::equal(wanted.luma, seen.last.luma, near) &&
                   std::ranges::equal(wanted.chroma, seen.last.chroma, near);
        });
    }
    /// Gives the window another pattern, or the screen another background, and waits for a picture of only
    /// that.
    void expectUnbroken(TestWindow& below, const std::string& when) {
        const pictures::BgraPicture next = pattern(++seed_);
        &below == &stage.painter ? stage.painter.setBackground(next) : below.fill(next);
        EXPECT_TRUE(shows(next)) << when;
    }

    ScreenStage stage{GetParam()};
    Connection connection{stage.server.displayName()};
    std::atomic<int> forbiddenFrames = 0;

 private:
    unsigned seed_ = 100;
};

INSTANTIATE_TEST_SUITE_P(X11, ContentFilterTests, testing::Bool(), [](const auto& parameter) {
    return parameter.param ? "Compositor" : "NoCompositor";
});

TEST_P(ContentFilterTests, ExcludedWindowsAreNeverShown) {
    TestWindow below = window(whole, pattern(1));
    TestWindow a = window({50, 40, 101, 77});
    TestWindow b = window({120, 90, 90, 120});
    captureWithout({&a, &b});
    EXPECT_TRUE(shows(pattern(1)));
    const std::pair<const char*, std::function<void()>> steps[] = {
        {"as it was", [] {}},
        {"moved", [&] { a.move(200, 150); }},
        {"partly outside", [&] { a.move(-40, 260); }},
        {"lowered", [&] { b.lower(); }},
        {"raised", [&] { b.raise(); }},
        {"resized", [&] { b.place(PixelRect(100, 100, 250, 31)); }},
        {"away", [&] { a.unmap(); }},
        {"back", [&] { a.map(); }},
        {"painted", [&] { a.fill(forbidden + 1); }},
        {"destroyed", [&] { b.destroy(); }},
    };
    for (const auto& [when, step] : steps) {
        step();
        expectUnbroken(below, when);
    }
    for (int i = 0; i < 30; ++i)
        a.move(i * 9, i * 5);
    expectUnbroken(below, "moved across");
    reuse(b, {20, 20, 40, 40}, 0x00ff00);
    below.fill(pattern(2));
    pictures::BgraPicture expected = pattern(2);
    paint(expected, {20, 20, 40, 40}, 0x00ff00);
    EXPECT_TRUE(shows(expected)) << "its number is another window's";
}

TEST_P(ContentFilterTests, AnExcludedWindowMayAppearAnywhereWhileOthersChange) {
    TestWindow below = window(whole, pattern(1));
    constexpr PixelRect place{300, 8, 90, 60};
    TestWindow counter = window(place, 0x101010);
    TestWindow excluded = window({0, 0, 80, 60});
    excluded.unmap();
    captureWithout({&excluded});
    std::mt19937 random(3);
    const auto placeAnywhere = [&](int top) {
        excluded.place({int(random() % 420) - 40, int(random() % 200) + top, int(random() % 90) + 10,
                        int(random() % 90) + 10});
    };
    pictures::BgraPicture expected = pattern(1);
    const auto countTo = [&](unsigned number) {
        const std::uint32_t colour = number * 0x000703 % 0x10000;
        counter.fill(colour);
        paint(expected, place, colour);
        EXPECT_TRUE(shows(expected)) << number;
    };
    for (unsigned i = 1; i <= 50; ++i) {
        placeAnywhere(75);
        excluded.map();
        countTo(i);
        if (i % 3 == 0) excluded.raise();
        if (i % 4 != 0) excluded.unmap();
    }
    // Also in quick succession.
    std::atomic<bool> ending = false;
    std::thread storm([&] {
        while (!ending) {
            excluded.map();
            for (int i = 0; i < 5; ++i)
                placeAnywhere(0);
            if (random() % 2 == 0) excluded.unmap();
            std::this_thread::sleep_for(std::chrono::microseconds(random() % 5000));
        }
    });
    for (unsigned i = 51; i <= 100; ++i)
        countTo(i);
    ending = true;
    storm.join();
}

TEST_P(ContentFilterTests, WindowsOfAProcessAreExcludedFromTheirFirstPixelOn) {
    stage.server.startWindowManager();
    TestWindow below = window(whole, pattern(1));
    constexpr PixelRect place{300, 8, 90, 60};
    TestWindow counter = window(place, 0x101010);
    TestWindow minimised = show({.frame = {90, 60, 150, 130}, .colour = forbidden, .managed = true});
    ask(minimised, "WM_CHANGE_STATE", {iconicState});
    TestWindow withdrawn = show({.frame = {90, 60, 150, 130}, .colour = forbidden, .managed = true});
    withdrawn.unmap();
    // Not created later: the window manager may then take it for a gone window of the same number.
    TestWindow kept = window({10, 10, 60, 60}, 0x00c0ff);
    kept.unmap();
    stage.capture(withoutProcess({&below, &counter}));
    std::mt19937 random(5);
    std::atomic<bool> ending = false;
    std::thread storm([&] {
        while (!ending) {
            const PixelRect frame{int(random() % 300), int(random() % 200), 100, 90};
            TestWindow next = show({.frame = frame, .colour = forbidden, .managed = random() % 2 == 0});
            if (random() % 2 == 0) next.move(frame.x + 50, frame.y);
            if (random() % 2 == 0) next.unmap();
            (random() % 2 == 0 ? minimised : withdrawn).map();
            if (random() % 4 == 0) ask(minimised, "WM_CHANGE_STATE", {iconicState});
            if (random() % 4 == 0) withdrawn.unmap();
        }
    });
    pictures::BgraPicture expected = pattern(1);
    for (unsigned i = 1; i <= 40; ++i) {
        counter.fill(i * 0x000703 % 0x10000);
        paint(expected, place, i * 0x000703 % 0x10000);
        EXPECT_TRUE(shows(expected)) << i;
    }
    ending = true;
    storm.join();
    kept.map();
    stage.source->setFilter(withoutProcess({&below, &counter, &kept}));
    paint(expected, {10, 10, 60, 60}, 0x00c0ff);
    EXPECT_TRUE(shows(expected)) << "kept";
}

TEST_P(ContentFilterTests, AListedApplicationIsAbsentFromItsFirstPixelOn) {
    stage.server.startWindowManager();
    stage.painter.setBackground(pattern(1));
    const auto open = [&](TestWindow::Look look) {
        look.colour = forbidden;
        return std::make_unique<TestWindow>(stage.server.displayName(), look);
    };
    SCContentFilter filter = SCContentFilter::excludingWindows(stage.display(), {});
    filter.excludesWindow = [](const auto& window, auto others) {
        return isNeverRecorded(window, others, {"other", "secret"});
    };
    stage.capture(filter);
    // A window without a class may belong to it.
    constexpr PixelRect place{40, 40, 60, 50};
    TestWindow unnamed = show({.frame = place, .colour = forbidden});
    expectUnbroken(stage.painter, "without a class");
    unnamed.fill(0x00c0ff);
    unnamed.setClass("Notes");
    stage.painter.setBackground(pattern(2));
    pictures::BgraPicture expected = pattern(2);
    paint(expected, place, 0x00c0ff);
    EXPECT_TRUE(shows(expected)) << "another application";
    unnamed.destroy();

    // Kept, so that no number is used again: the window manager takes such a window for the one that has
    // gone.
    std::vector<std::unique_ptr<TestWindow>> all;
    all.push_back(open({.frame = {90, 60, 150, 130}, .managed = true, .windowClass = "Secret"}));
    std::atomic<int> opened = 0;
    std::thread application([&, random = std::mt19937(7), main = 0]() mutable {
        for (; opened < 50; ++opened) {
            const PixelRect frame{int(random() % 300), int(random() % 200), 100, 90};
            const auto kind = random() % 5;
            TestWindow::Look look{.frame = frame, .managed = kind != 0};
            if (kind == 1) look.transientFor = all[main]->id(), look.windowClass = "Dialog";
            if (kind == 2 || kind == 4) look.windowClass = "SECRET";
            all.push_back(open(look));
            TestWindow& last = *all.back();
            if (kind == 3) last.setClass("Secret");
            if (random() % 2 == 0) last.unmap();
            if (random() % 3 == 0) last.map();
            if (kind == 4) all[std::exchange(main, int(all.size()) - 1)]->destroy();
            if (const int old = int(all.size()) - 4; old > 0 && old != main) all[old]->destroy();
        }
    });
    while (opened < 50)
        expectUnbroken(stage.painter, "a window opens");
    application.join();
    expectUnbroken(stage.painter, "all have opened");
}

TEST_P(ContentFilterTests, WindowsBetweenAndAboveExcludedOnesAreShown) {
    TestWindow below = window(whole, pattern(1));
    TestWindow low = window({40, 40, 200, 200});
    TestWindow translucent = show({.frame = {64, 64, 64, 64}, .colour = 0x80004020, .translucent = true});
    TestWindow bordered = show({.frame = {140, 70, 40, 30}, .colour = 0x00ff00, .borderWidth = 5});
    TestWindow shaped = window({60, 150, 60, 40}, 0x00ffff);
    shaped.shape({{0, 0, 10, 40}, {50, 0, 10, 40}});
    TestWindow high = window({64, 64, 160, 160});
    TestWindow top = window({190, 180, 30, 30}, 0xc0c0c0);
    captureWithout({&low, &high});

    pictures::BgraPicture expected = pattern(1);
    veil(expected, {64, 64, 64, 64}, 0x80004020);
    paint(expected, {140, 70, 50, 40}, 0x000000);
    paint(expected, {145, 75, 40, 30}, 0x00ff00);
    paint(expected, {60, 150, 10, 40}, 0x00ffff);
    paint(expected, {110, 150, 10, 40}, 0x00ffff);
    paint(expected, {190, 180, 30, 30}, 0xc0c0c0);
    EXPECT_TRUE(nearlyShows(expected));
}

TEST_P(ContentFilterTests, AWindowIsRecordedCompletelyWithOnlyItsOverlays) {
    constexpr PixelRect frame{60, 50, 160, 120};
    const pictures::BgraPicture content = pattern(7, frame.width, frame.height);
    TestWindow recorded = window(frame, content);
    TestWindow overlay = show({.frame = {100, 80, 40, 40}, .colour = 0x80804000, .translucent = true});
    overlay.unmap();
    TestWindow occluder = window({30, 30, 150, 100});
    captureOnly({&recorded, &overlay});
    const pictures::BgraPicture expected = screenWith(content, frame.x, frame.y);
    EXPECT_TRUE(shows(expected)) << "covered";

    for (int i = 0; i < 20; ++i)
        occluder.move(i * 10, i * 5);
    overlay.map();
    recorded.raise();
    pictures::BgraPicture withOverlay = expected;
    veil(withOverlay, {100, 80, 40, 40}, 0x80804000);
    EXPECT_TRUE(nearlyShows(withOverlay)) << "the overlay stays on top";
    overlay.unmap();
    occluder.raise();
    EXPECT_TRUE(shows(expected)) << "overlay away";

    recorded.move(203, 151);
    EXPECT_TRUE(shows(screenWith(content, 203, 151))) << "moved";

    // While the window is unmapped, the picture is frozen, whatever else changes.
    auto somethingElseHappens = [&, x = 0]() mutable {
        const std::uint64_t before = stage.source->wakeUps();
        EXPECT_TRUE(eventually([&] {
            occluder.move(x++ % 200, 140);
            return stage.source->wakeUps() > before + 3;
        }));
    };
    std::size_t frames = stage.frames.seen().complete.size();
    recorded.unmap();
    somethingElseHappens();
    recorded.move(frame.x, frame.y);
    recorded.map();
    EXPECT_TRUE(shows(expected)) << "back";
    EXPECT_EQ(stage.frames.seen().complete.size(), frames + 1);

    recorded.place({60, 50, 100, 40});
    EXPECT_TRUE(shows(screenWith(cut(content, {0, 0, 100, 40}), 60, 50))) << "smaller";
    recorded.place(frame);
    EXPECT_TRUE(shows(expected)) << "larger";

    recorded.shape({{0, 0, 160, 30}, {0, 60, 80, 60}});
    pictures::BgraPicture shaped = expected;
    paint(shaped, {60, 80, 160, 30}, 0);
    paint(shaped, {140, 110, 80, 60}, 0);
    EXPECT_TRUE(shows(shaped)) << "shaped";
    frames = stage.frames.seen().complete.size();
    recorded.destroy();
    somethingElseHappens();
    EXPECT_EQ(stage.frames.seen().complete.size(), frames) << "closed";
}

TEST_P(ContentFilterTests, TheSourceRectangleMayMove) {
    TestWindow below = window(whole, pattern(1));
    TestWindow excluded = window({90, 60, 150, 130});
    stage.configuration.width = 120;
    stage.configuration.height = 100;
    stage.configuration.sourceRect = Rect{50, 40, 120, 100};
    captureWithout({&excluded});
    for (const auto& [x, y] : {std::pair{50, 40}, {130, 71}, {270, 200}, {0, 0}, {100, 70}}) {
        stage.setSourceRect({double(x), double(y), 120, 100});
        EXPECT_TRUE(shows(cut(pattern(1), {x, y, 120, 100}))) << x;
    }
}

TEST_P(ContentFilterTests, ASingleWindowIsFollowed) {
    TestWindow recorded = window({60, 50, 120, 80}, pattern(7, 120, 80));
    TestWindow occluder = window({30, 30, 100, 100});
    stage.configuration.width = 120;
    stage.configuration.height = 80;
    stage.capture(SCContentFilter::desktopIndependent(windows({&recorded}).front()));
    EXPECT_EQ(stage.frames.seen().last, Picture(pattern(7, 120, 80)));
    recorded.move(-50, 260);
    recorded.fill(pattern(8, 120, 80));
    EXPECT_TRUE(shows(pattern(8, 120, 80))) << "partly outside";
    // Half as large in each direction, so twice as large in the picture.
    recorded.place({200, 100, 60, 40});
    recorded.fill(plain(60, 40, 0x00ff00));
    EXPECT_TRUE(shows(plain(120, 80, 0x00ff00)));
    recorded.destroy();
    occluder.sync();
    EXPECT_EQ(stage.frames.seen().last, Picture(plain(120, 80, 0x00ff00)));
    EXPECT_THROW(stage.capture(SCContentFilter::desktopIndependent(windows({}).front())), PlatformError)
        << "a window that does not exist";
}

TEST_P(ContentFilterTests, ACompositingManagerMayStartAndEnd) {
    TestWindow below = window(whole, pattern(1));
    TestWindow excluded = window({90, 60, 150, 130});
    captureWithout({&excluded});
    bool composited = GetParam();
    for (int i = 0; i < 4; ++i) {
        composited ? stage.server.stopCompositor() : stage.server.startCompositor();
        composited = !composited;
        excluded.move(i % 2 == 0 ? 10 : 120, 10 + 30 * i);
        expectUnbroken(below, composited ? "started" : "ended");
    }
}

TEST_P(ContentFilterTests, AnApplicationsWindowIsExcludedWithItsFrame) {
    stage.painter.setBackground(pattern(1));
    TestWindow excluded = show({.frame = {90, 60, 150, 130}, .colour = forbidden, .managed = true});
    captureWithout({&excluded});
    expectUnbroken(stage.painter, "unmanaged");
    stage.server.startWindowManager();
    EXPECT_TRUE(eventually([&] { return topLevelOf(connection, excluded.id()) != excluded.id(); }));
    expectUnbroken(stage.painter, "managed");
    excluded.move(140, 90);
    expectUnbroken(stage.painter, "moved");
    excluded.unmap();
    expectUnbroken(stage.painter, "away");
    excluded.map();
    expectUnbroken(stage.painter, "back");
}

/// Whether the server keeps the window's pixels in a pixmap.
bool isRedirected(const TestWindow& window) {
    const Connection& connection = window.connection();
    const xcb_pixmap_t pixmap = connection.generateId();
    const auto request = xcb_composite_name_window_pixmap_checked(connection.get(), window.id(), pixmap);
    if (!connection.succeeds(request)) return false;
    xcb_free_pixmap(connection.get(), pixmap);
    return true;
}

class UncomposedContentFilterTests : public ContentFilterTests {};
INSTANTIATE_TEST_SUITE_P(X11, UncomposedContentFilterTests, testing::Values(false));

TEST_P(UncomposedContentFilterTests, WindowsAreRedirectedOnlyWhereAndWhileNecessary) {
    TestWindow desktop = window(whole, 0x204060);
    TestWindow below = window({0, 0, 200, 301}, pattern(1, 200, 301));
    TestWindow beside = window({250, 0, 100, 301}, 0x008000);
    TestWindow excluded = window({20, 20, 100, 100});
    excluded.unmap();
    captureWithout({&excluded});
    pictures::BgraPicture expected = screenWith(pattern(1, 200, 301), 0, 0);
    paint(expected, {200, 0, 203, 301}, 0x204060);
    paint(expected, {250, 0, 100, 301}, 0x008000);
    EXPECT_TRUE(shows(expected));
    EXPECT_FALSE(isRedirected(below));
    for (int i = 0; i < 2; ++i) {
        excluded.map();
        EXPECT_TRUE(eventually([&] { return isRedirected(below); }));
        EXPECT_FALSE(isRedirected(desktop) || isRedirected(beside));
        excluded.unmap();
        EXPECT_TRUE(eventually([&] { return !isRedirected(below); }));
    }
    EXPECT_EQ(stage.frames.seen().last, Picture(expected));
    EXPECT_EQ(stage.frames.seen().complete.size(), 1U) << "the picture never changed";
}

TEST_P(UncomposedContentFilterTests, AProgramMayPaintLateWhatIsUncovered) {
    TestWindow slow = window(whole, 0x204060);
    TestWindow excluded = window({90, 60, 150, 130});
    excluded.unmap();
    slow.draw(pattern(1));
    captureWithout({&excluded});
    std::thread program([&] {
        EXPECT_TRUE(slow.waitUntilExposed());
        // A slow program: until it paints, the pixmap contains the excluded window's pixels.
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        slow.draw(pattern(2));
    });
    excluded.map();
    program.join();
    EXPECT_TRUE(shows(pattern(2)));
}

TEST_P(UncomposedContentFilterTests, PixelsAreUsedOnlyIfNothingChangedBeforeTheyWereRead) {
    TestWindow below = window(whole, 0x204060);
    TestWindow beside = window({300, 100, 50, 50}, 0x00ff00);
    TestWindow excluded = window({20, 20, 100, 100});
    TestWindow frame = window({10, 262, 60, 38}, 0x0000ff);
    SCContentFilter filter = withoutProcess({&below, &beside, &frame});
    filter.windows = windows({&excluded});
    FilteredContent content(connection, filter);
    std::optional<TestWindow> late;
    ScreenReader reader(connection);
    const SourceGeometry geometry{whole, whole};
    const pictures::BlockRegion all = geometry.blocksIn({whole});
    /// The number of usable pixels of a colour, and of all usable pixels.
    const auto pixelsOf = [&](std::uint32_t colour, const std::function<void()>& meanwhile) {
        pictures::BlockRegion unread = all;
        content.prepare(geometry, unread);
        const auto reads = content.plan(all);
        meanwhile();
        const auto pictures = reader.read(reads);
        connection.processEvents([&](const xcb_generic_event_t& event) { content.handleEvent(event); });
        std::pair<std::int64_t, std::int64_t> found;
        for (std::size_t i = 0; i < reads.size(); ++i) {
            for (const PixelRect& part : content.usableParts(i)) {
                for (int y = part.y; pictures[i] && y < part.maxY(); ++y) {
                    const std::uint32_t* const row = pictures[i]->row(y - reads[i].rect.y) - reads[i].rect.x;
                    for (int x = part.x; x < part.maxX(); ++x)
                        found.first += (row[x] & 0xffffff) == colour;
                    found.second += part.width;
                }
            }
        }
        return found;
    };
    EXPECT_TRUE(eventually([&] { return pixelsOf(0x00ff00, [] {}) == std::pair(2500L, whole.area()); }));
    const std::pair<const char*, std::function<void()>> cases[] = {
        {"moved", [&] { excluded.move(280, 30); }},
        {"moved and back", [&] { excluded.move(150, 170), excluded.move(280, 30); }},
        {"away", [&] { excluded.unmap(); }},
        {"back", [&] { excluded.map(); }},
        {"another one",
         [&] {
             late.emplace(window({0, 150, 200, 100}));
         }},
        {"and gone", [&] { late->destroy(); }},
        {"in a frame of somebody else's",
         [&] {
             late.emplace(window({0, 0, 60, 60}));
             xcb_reparent_window(late->connection().get(), late->id(), frame.id(), 0, 0);
             late->sync();
         }},
        {"larger", [&] { excluded.place(PixelRect(280, 30, 123, 271)); }},
    };
    for (const auto& [what, action] : cases) {
        EXPECT_EQ(pixelsOf(forbidden, action).first, 0) << what;
        EXPECT_TRUE(eventually([&] { return pixelsOf(0x00ff00, [] {}) == std::pair(2500L, whole.area()); }))
            << what;
    }
    // A shown window may move in the composed part, too; the parts that it affects are not used.
    EXPECT_LT(pixelsOf(0x00ff00, [&] { beside.move(310, 120); }).second, whole.area());
    EXPECT_EQ(pixelsOf(0x00ff00, [] {}), std::pair(2500L, whole.area()));
}

}  // namespace
}  // namespace lumicrate::x11
