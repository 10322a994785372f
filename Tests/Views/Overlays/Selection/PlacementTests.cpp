// SPDX-License-Identifier: GPL-3.0-or-later
// Placement without a screen: the magnifier beside the pointer, and points among pixels.
#include "Views/Overlays/Selection/Magnifier.h"
#include "Views/Overlays/Selection/ScreenPixels.h"

#include <QTransform>

namespace lumicrate::views {
namespace {

TEST(MagnifierPlacementTests, IsBesideThePointerAndOnTheScreen) {
    const QSize box(100, 150);
    const std::pair<QPoint, QPoint> cases[] = {{{0, 0}, {11, 11}},       {{889, 100}, {900, 111}},
                                               {{890, 100}, {780, 111}}, {{100, 639}, {111, 650}},
                                               {{100, 640}, {111, 480}}, {{999, 799}, {889, 639}}};
    for (const auto& [pointer, expected] : cases)
        EXPECT_EQ(placeBesidePointer(box, pointer, {1000, 800}, 10), expected) << pointer.x();
    // A screen without room on either side of the pointer, in one direction.
    for (int x = 0; x < 120; ++x) {
        const QRect placed(placeBesidePointer(box, {x, 40}, {120, 800}, 10), box);
        EXPECT_TRUE(QRect(0, 0, 120, 800).contains(placed));
        EXPECT_FALSE(placed.contains(x, 40));
    }
}

constexpr double scales[] = {1, 1.25, 1.5, 1.75, 2, 3};

TEST(ScreenPixelsTests, WidgetAndScreenHaveTheSamePixels) {
    for (const double scale : scales) {
        const ScreenPixels screen({1366 / scale, 768 / scale}, scale);
        EXPECT_EQ(screen.all(), QRect(0, 0, 1366, 768));
        for (const int i : {0, 1, 500, 767}) {
            const Point middle = screen.pointAt(QPointF(i + 598, i) / scale);
            EXPECT_EQ(screen.pixelOf(middle), QPoint(i + 598, i));
            EXPECT_NEAR(middle.y, (767.5 - i) / scale, 1e-9);
        }
        EXPECT_EQ(screen.pixelOf({1366 / scale, 0}), QPoint(1365, 767)) << "the far edges";
        EXPECT_EQ(screen.rectOf({10 / scale, 18 / scale, 300 / scale, 50 / scale}), QRect(10, 700, 300, 50));
    }
}

TEST(ScreenPixelsTests, RegionsContainAllPixelsHoweverTheyAreRounded) {
    for (const double scale : scales) {
        const ScreenPixels screen({400 / scale, 400 / scale}, scale);
        const QTransform scaling = QTransform::fromScale(scale, scale);
        for (int from = 5; from < 60; ++from) {
            for (int length = 1; length < 20; ++length) {
                const QRegion pixels(from, 2 * from, length, 1);
                const QRegion widget = screen.widgetRegion(pixels);
                const QRegion clip = scaling.map(widget);
                EXPECT_TRUE((pixels - clip).isEmpty()) << from << " " << length;
                EXPECT_TRUE((clip - screen.pixelRegion(widget)).isEmpty()) << from << " " << length;
            }
        }
    }
}

}  // namespace
}  // namespace lumicrate::views
