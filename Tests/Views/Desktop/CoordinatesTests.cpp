// SPDX-License-Identifier: GPL-3.0-or-later
// From Qt's coordinates to the recorder's and back, for arrangements that no display here has; names of keys.
#include "Views/Desktop/Coordinates.h"
#include "Views/Desktop/KeyMonitor.h"

#include <gtest/gtest.h>

namespace lumicrate::test {
namespace {

using views::Coordinates;
using views::QtScreen;

TEST(CoordinatesTests, ALengthThatQtHasRoundedIsFound) {
    const struct {
        QSize pixels;
        double ratio;
    } cases[] = {{{1920, 1080}, 1},  {{1366, 768}, 1.5}, {{2560, 1440}, 1.25}, {{3840, 2160}, 1.75},
                 {{1280, 800}, 1.5}, {{3840, 2160}, 2},  {{1366, 768}, 1.25},  {{2256, 1504}, 1.5}};
    for (const auto& [pixels, ratio] : cases) {
        const QtScreen screen{QRect({100, 7}, (QSizeF(pixels) / ratio).toSize()), ratio};
        EXPECT_EQ(screen.pixels(), QRect(QPoint(100, 7), pixels)) << pixels.width() << " at " << ratio;
    }
}

TEST(CoordinatesTests, PointsGoUpFromTheBottomOfTheMainScreen) {
    // The main screen, and a higher one to the left of it; twice as dense.
    const Coordinates two({{{1600, 200, 640, 400}, 2}, {{0, 0, 800, 600}, 2}});
    EXPECT_EQ(two.scale(), 2);
    EXPECT_EQ(two.pointsFromPixels({1600, 200, 1280, 800}), (Rect{800, 0, 640, 400}));
    EXPECT_EQ(two.pointsFromPixels({0, 0, 1600, 1200}), (Rect{0, -100, 800, 600}));
    EXPECT_EQ(two.pixelsFromPoints({800, 0, 640, 400}), QRectF(1600, 200, 1280, 800));
    EXPECT_EQ(two.pointOfPixel({1600, 999}), (Point{800.25, 0.25}));
    // Qt counts points from the screen's own corner.
    EXPECT_EQ(two.windowGeometry({810, 380, 50, 10}), QRect(1610, 210, 50, 10));
    EXPECT_EQ(two.windowGeometry({10, 480, 50, 10}), QRect(10, 10, 50, 10));
    EXPECT_EQ(two.windowGeometry({-500, 480, 50, 10}), QRect(-500, 10, 50, 10)) << "nearest, when on none";
    EXPECT_EQ(Coordinates({}).windowGeometry({1, -5, 3, 4}), QRect(1, 1, 3, 4));
}

TEST(KeyNameTests, IsInUpperCaseAndNeverAControlCharacter) {
    const std::pair<const char*, const char*> cases[] = {
        {"r", "R"}, {"7", "7"},   {"ě", "Ě"},   {"ж", "Ж"},     {"ё", "Ё"},     {"ί", "Ί"},
        {"ς", "Σ"}, {"ÿ", "Ÿ"},   {"ß", "ß"},   {"×", "×"},     {"ა", "ა"},     {"あ𝄞", "あ𝄞"},
        {"", ""},   {"\x1b", ""}, {"\x7f", ""}, {"\u0085", ""}, {"\u200d", ""}, {"\ufeff", ""},
    };
    for (const auto& [typed, name] : cases)
        EXPECT_EQ(views::keyName(QString::fromUtf8(typed)), name) << typed;
}

}  // namespace
}  // namespace lumicrate::test
