// SPDX-License-Identifier: GPL-3.0-or-later
#include "Support/Geometry.h"
#include "Support/Log.h"
#include "Support/MediaTime.h"
#include "Support/Published.h"
#include "Support/Text.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <limits>
#include <string>
#include <vector>

namespace lumicrate {
namespace {

TEST(GeometryTests, RectanglesAndPointsAreReadFromText) {
    for (const Rect& rect : {Rect{10, 20, 640, 480}, Rect{-0.5, 1e-3, 1.25, 1e6}, Rect{}})
        EXPECT_EQ(rectFromString(stringFromRect(rect)), rect) << stringFromRect(rect);
    EXPECT_EQ(stringFromRect({10, 20, 640, 480}), "{{10, 20}, {640, 480}}");
    EXPECT_EQ(rectFromString(" { {1,2} ,{ 3 , 4 } } "), (Rect{1, 2, 3, 4}));
    for (const char* text : {"", "{}", "{{1, 2}, {3}}", "{{1, 2}, {3, 4}", "{{1, 2}, {3, 4}} x",
                             "{{a, 2}, {3, 4}}", "{{nan, 2}, {3, 4}}", "{{inf, 2}, {3, 4}}", "1 2 3 4"})
        EXPECT_FALSE(rectFromString(text)) << text;
    EXPECT_EQ(stringFromPoint({-0.5, 640}), "{-0.5, 640}");
    EXPECT_EQ(pointFromString("{-0.5,640}"), (Point{-0.5, 640}));
    for (const char* text : {"", "1, 2", "{1, 2", "{1, 2} x", "{{1, 2}}", "{inf, 2}"})
        EXPECT_FALSE(pointFromString(text)) << text;
}

TEST(GeometryTests, IntersectionAndOutwardRounding) {
    EXPECT_EQ((Rect{0, 0, 10, 10}.intersection({5, -5, 10, 10})), (Rect{5, 0, 5, 5}));
    EXPECT_TRUE((Rect{0, 0, 10, 10}.intersection({10, 0, 5, 5}).isEmpty()));
    EXPECT_EQ((Rect{-0.5, 0.5, 1, 1}.integral()), (Rect{-1, 0, 2, 2}));
    EXPECT_EQ((PixelRect{0, 0, 4, 4}.intersection({2, 3, 9, 9})), (PixelRect{2, 3, 2, 1}));
    EXPECT_EQ((PixelRect{}.boundingUnion({2, 3, 1, 1})), (PixelRect{2, 3, 1, 1}));
    EXPECT_EQ((PixelRect{0, 0, 1, 1}.boundingUnion({4, 5, 2, 2})), (PixelRect{0, 0, 6, 7}));
}

TEST(MediaTimeTests, ArithmeticIsExactAcrossTimescales) {
    const CMTime thirtieth(1, 30);
    CMTime sum = CMTime::zero();
    for (int i = 0; i < 30; ++i)
        sum = sum + thirtieth;
    EXPECT_EQ(sum, CMTime(1, 1));

    // 100 days in nanoseconds, less a thirtieth, plus a thirtieth.
    const CMTime late(8'640'000'000'000'001, 1'000'000'000);
    EXPECT_EQ((late - thirtieth) + thirtieth, late);
    EXPECT_LT(late - thirtieth, late);
    EXPECT_GT(CMTime(1, 3), CMTime(333'333'333, 1'000'000'000));
    EXPECT_EQ(CMTime(2, 4), CMTime(1, 2));
    EXPECT_EQ(-CMTime(1, 2) + CMTime(1, 2), CMTime::zero());
}

TEST(MediaTimeTests, InvalidTimesStayApart) {
    EXPECT_FALSE((CMTime::invalid() + CMTime(1, 1)).isValid());
    EXPECT_EQ(CMTime::invalid(), CMTime());
    EXPECT_FALSE(CMTime::invalid() <= CMTime::zero());
    EXPECT_FALSE(CMTime::invalid() > CMTime::zero());
    EXPECT_TRUE(std::isnan(CMTime::invalid().seconds()));
}

TEST(MediaTimeTests, ConversionRoundsHalvesAwayFromZero) {
    EXPECT_EQ(CMTime(1, 2).converted(1), 1);
    EXPECT_EQ(CMTime(-1, 2).converted(1), -1);
    EXPECT_EQ(CMTime(49, 100).converted(1), 0);
    EXPECT_EQ(CMTime(1, 3).converted(48000), 16000);
}

TEST(TextTests, DurationsAndByteCounts) {
    const std::pair<double, const char*> durations[] = {{0, "00:00"},        {65, "01:05"},
                                                        {3599.99, "59:59"},  {3600, "1:00:00"},
                                                        {3725.9, "1:02:05"}, {360000, "100:00:00"}};
    for (const auto& [seconds, text] : durations)
        EXPECT_EQ(formatElapsed(seconds), text);
    EXPECT_EQ(formatClock(3725.9), "01:02:05");
    EXPECT_EQ(formatClock(360000), "100:00:00");
    EXPECT_DEATH(formatElapsed(std::numeric_limits<double>::infinity()), "");
    const std::pair<std::uintmax_t, const char*> sizes[] = {{0, "0 kB"},
                                                            {812'400, "812 kB"},
                                                            {999'499, "999 kB"},
                                                            {999'500, "1.0 MB"},
                                                            {3'449'000, "3.4 MB"},
                                                            {999'950'000, "1.0 GB"},
                                                            {1'250'000'000'000, "1250.0 GB"}};
    for (const auto& [bytes, text] : sizes)
        EXPECT_EQ(formatByteCount(bytes), text);
}

TEST(TextTests, PlaceholdersAreFilledInOrderOrByTheirNumbers) {
    EXPECT_EQ(localized("{} of {}, {x} {", {"a", "b"}), "a of b, {x} {");
    EXPECT_EQ(localized("{1}: {0}", {"a", "{}"}), "{}: a");
    EXPECT_EQ(localizedPlural("{} picture", "{} pictures", 1), "1 picture");
    EXPECT_EQ(localizedPlural("{} picture", "{} pictures", 0), "0 pictures");
}

TEST(PublishedTests, ChangesAreAnnouncedBeforeTheyTakeEffect) {
    Published<int> value(1);
    std::vector<std::pair<int, int>> seen;
    {
        const auto subscription = value.observe([&](int coming) { seen.emplace_back(*value, coming); });
        value = 2;
    }
    value = 3;
    EXPECT_EQ(seen, (std::vector<std::pair<int, int>>{{1, 2}}));
    EXPECT_EQ(*value, 3);
}

TEST(PublishedTests, ObserversMayLeaveWhileTheyAreCalled) {
    Observers<int> observers;
    Subscription second;
    int calls = 0;
    const auto first = observers.add([&](int) { second = Subscription(); });
    second = observers.add([&](int) { ++calls; });
    observers.notify(1);
    EXPECT_EQ(calls, 0);
}

struct CountsConversions {
    explicit operator std::string() const { return std::to_string(++count); }
    mutable int count = 0;
};

TEST(LogTests, TheEnvironmentChoosesTheAreas) {
    for (const auto& [list, capture, ui] : {std::tuple{"capture,audio", true, false},
                                            {"nonsense,,ui", false, true},
                                            {"all", true, true},
                                            {"", false, false}}) {
        setenv("LUMICRATE_LOG", list, 1);
        {
            const LogCapture reread([](LogArea, double, std::string_view) {});
        }
        EXPECT_EQ(isLogged(LogArea::capture), capture) << list;
        EXPECT_EQ(isLogged(LogArea::ui), ui) << list;
    }
    unsetenv("LUMICRATE_LOG");
}

TEST(LogTests, LinesAreBuiltOnlyForAnAreaThatIsLogged) {
    const CountsConversions value;
    std::vector<std::string> lines;
    log(LogArea::movie, value);
    {
        const LogCapture capture([&](LogArea area, double, std::string_view text) {
            lines.push_back(std::string(logAreaName(area)) + ": " + std::string(text));
        });
        log(LogArea::movie, "part ", value, ", ", 2, " of ", std::string("3"), ": ", true);
    }
    log(LogArea::movie, value);
    EXPECT_EQ(lines, std::vector<std::string>{"movie: part 1, 2 of 3: yes"});
    EXPECT_EQ(value.count, 1);
}

}  // namespace
}  // namespace lumicrate
