// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/X11/Capture/CaptureContent.h"

#include <gtest/gtest.h>

#include <optional>

namespace lumicrate::x11 {
namespace {

TEST(SourceGeometryTests, TheSourceIsTheRoundedPartOfTheDisplay) {
    const PixelRect root{0, 0, 3000, 1000};
    const struct {
        int x;
        std::optional<Rect> sourceRect;
        double scale;
        SourceGeometry geometry;
    } cases[] = {
        {1000, {}, 2, {{1000, 0, 800, 600}, {1000, 0, 800, 600}}},
        {1000, Rect{}, 1, {{1000, 0, 800, 600}, {1000, 0, 800, 600}}},
        {1000, Rect{10.25, 20, 30.25, 40}, 2, {{1021, 40, 61, 80}, {1021, 40, 61, 80}}},
        {1000, Rect{-10, 590, 30, 40}, 1, {{990, 590, 30, 40}, {1000, 590, 20, 10}}},
        {2500, {}, 1, {{2500, 0, 800, 600}, {2500, 0, 500, 600}}},
        {0, Rect{900, 0, 10, 10}, 1, {{900, 0, 10, 10}, {}}},
        {0, Rect{0, 0, 0.1, 0.1}, 1, {{0, 0, 1, 1}, {0, 0, 1, 1}}},
    };
    for (const auto& [x, sourceRect, scale, geometry] : cases)
        EXPECT_EQ(sourceGeometry({x, 0, 800, 600}, root, sourceRect, scale), geometry);
}

}  // namespace
}  // namespace lumicrate::x11
