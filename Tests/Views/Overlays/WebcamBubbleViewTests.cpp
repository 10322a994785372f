// SPDX-License-Identifier: GPL-3.0-or-later
// WebcamBubbleView on a real display: its pixels, and the mouse, with and without a compositing manager.
#include "Lumicrate/Overlays/WebcamBubbleController.h"
#include "Lumicrate/Overlays/WebcamBubbleGeometry.h"
#include "Tests/Lumicrate/FakeCamera.h"
#include "Tests/Lumicrate/FakePlatform.h"
#include "Tests/Views/Overlays/OverlayStage.h"

#include <QMenu>

namespace lumicrate::test {
namespace {

constexpr Rgb left{200, 40, 40};
constexpr Rgb right{40, 60, 160};
constexpr Rgb border{0, 255, 0};

/// The left half in one colour, the right half in another.
RenderedPicture halves(PixelSize size) {
    const auto pixels =
        std::make_shared<std::vector<std::uint32_t>>(std::size_t(size.width) * std::size_t(size.height));
    for (std::size_t i = 0; i < pixels->size(); ++i) {
        const Rgb& color = i % std::size_t(size.width) < std::size_t(size.width) / 2 ? left : right;
        (*pixels)[i] = std::uint32_t(color.red << 16 | color.green << 8 | color.blue);
    }
    return {size.width,
            size.height,
            std::size_t{4} * std::size_t(size.width),
            {pixels, reinterpret_cast<const std::uint8_t*>(pixels->data())}};
}

/// A point's distance from the outline of a rounded rectangle at the origin; negative inside.
double distanceToOutline(Point at, const Size& size, double radius) {
    const double dx = std::abs(at.x - size.width / 2) - (size.width / 2 - radius);
    const double dy = std::abs(at.y - size.height / 2) - (size.height / 2 - radius);
    return std::hypot(std::max(dx, 0.0), std::max(dy, 0.0)) + std::min(std::max(dx, dy), 0.0) - radius;
}

class WebcamBubblePixelTests : public OverlayStageTests, public testing::WithParamInterface<bool> {
 protected:
    WebcamBubblePixelTests() {
        RecordingOptions::registerDefaults(defaults);
        defaults.set("webcamWidth", 160.0);
        defaults.set("webcamBorderColor", std::string("#00FF00"));
        defaults.set("webcamCenter", stringFromPoint({main.frame.x + 160, 160}));
        defaults.set("webcamEnabled", true);
        pointTo(main.frame.x + 20, 20);
    }

    void show() {
        executor.drain();
        ASSERT_EQ(cameras.open(), 1U);
        const PixelSize wanted = cameras.last().previewSize;
        cameras.last().show(halves({2 * wanted.width, wanted.height}));
        EXPECT_TRUE(comesToShow(frame().midX() - 25, frame().midY() + 15, right)) << "mirrored";
        EXPECT_TRUE(comesToShow(frame().midX() + 25, frame().midY() + 15, left));
    }
    QWidget& panel() const {
        for (QWidget* each : QApplication::topLevelWidgets())
            if (bubble.windowNumber() && each->internalWinId() == *bubble.windowNumber()) return *each;
        throw std::runtime_error("no panel");
    }
    Rect frame() const { return dynamic_cast<const NSPanel&>(panel()).frame(); }
    QImage screenshot() const {
        const QRectF pixels = views::Coordinates::now().pixelsFromPoints(frame());
        const stage::XcbConnection connection(desktop->display().displayName());
        const stage::XcbReply<xcb_get_image_reply_t> image(xcb_get_image_reply(
            connection.get(),
            xcb_get_image(connection.get(), XCB_IMAGE_FORMAT_Z_PIXMAP, connection.screen()->root,
                          std::int16_t(pixels.x()), std::int16_t(pixels.y()), std::uint16_t(pixels.width()),
                          std::uint16_t(pixels.height()), ~0U),
            nullptr));
        return QImage(xcb_get_image_data(image.get()), int(pixels.width()), int(pixels.height()),
                      QImage::Format_RGB32)
            .copy();
    }
    /// Compares every pixel with the formulas of the outline and the border.
    int wrongPixels(WebcamShape shape) const {
        const QImage seen = screenshot();
        const Size size = frame().size();
        const double radius = bubble::cornerRadius(shape, size);
        const double line = bubble::borderWidth(WebcamBorder::medium);
        int wrong = 0;
        for (int y = 0; y < seen.height(); ++y) {
            for (int x = 0; x < seen.width(); ++x) {
                const QColor color = seen.pixelColor(x, y);
                const Rgb got{color.red(), color.green(), color.blue()};
                const double depth =
                    -distanceToOutline({(x + 0.5) / scale(), (y + 0.5) / scale()}, size, radius) * scale();
                const bool isPicture = got.distanceTo(left) < 4 || got.distanceTo(right) < 4;
                if (depth < -0.75 && got != Application::color) ++wrong;
                if (depth > 0.75 && depth < line * scale() - 0.75 && got != border) ++wrong;
                if (depth > line * scale() + 0.75 && !isPicture && x != seen.width() / 2 &&
                    x != seen.width() / 2 - 1)
                    ++wrong;
                if (std::abs(depth) > 0.75) continue;
                // At the edge: as much of the border as the pixel is covered, or all or nothing.
                const double cover = GetParam() ? std::clamp(depth + 0.5, 0.0, 1.0) : depth > 0;
                const bool either = got == border || got == Application::color;
                if (GetParam()              ? got.distanceTo(over(border, cover, Application::color)) > 50
                    : std::abs(depth) > 0.1 ? got != (cover > 0 ? border : Application::color)
                                            : !either)
                    ++wrong;
            }
        }
        return wrong;
    }

    Composition composition{GetParam()};
    FakeDefaults defaults;
    FakeDevices devices;
    FakeCameras cameras;
    WebcamBubbleController bubble{{executor, defaults, screens, devices, cameras.factory(), contents}};
};

INSTANTIATE_TEST_SUITE_P(Composition, WebcamBubblePixelTests, testing::Bool(), compositionName);

TEST_P(WebcamBubblePixelTests, OutlineBorderAndPictureAreAsComputed) {
    for (const WebcamShape shape : allCases<WebcamShape>()) {
        bubble.chooseShape(shape);
        show();
        int wrong = -1;
        EXPECT_TRUE(runUntil([&] { return (wrong = wrongPixels(shape)) == 0; }))
            << rawValue(shape) << ": " << wrong << " wrong pixels";
    }
}

TEST_P(WebcamBubblePixelTests, IsDraggedResizedAndClickedThrough) {
    bubble.apply();
    show();
    const Rect before = frame();
    clickAt(before.x + 4, before.y + 4);
    EXPECT_TRUE(runUntil([&] { return application.presses == 1; })) << "outside of the circle";
    const auto drag = [&](Point from, double dx, double dy) {
        pointTo(from.x, from.y);
        xdotool({"mousedown", "1"});
        pointTo(from.x + dx, from.y + dy);
    };
    const auto release = [&](const Rect& expected) {
        EXPECT_TRUE(runUntil([&] {
            return std::abs(frame().x - expected.x) <= 1 && std::abs(frame().y - expected.y) <= 1 &&
                   std::abs(frame().width - expected.width) <= 1;
        })) << frame().x
            << " " << frame().y << " " << frame().width;
        xdotool({"mouseup", "1"});
        executor.drain();
    };
    drag({before.midX(), before.midY()}, 40, 20);
    EXPECT_TRUE(runUntil([&] {
        return bubble.windowNumber() &&
               panel().findChild<QWidget*>()->cursor().shape() == Qt::ClosedHandCursor;
    }));
    release(before.offsetBy(40, 20));
    const Point handle = bubble::handleCenter(WebcamShape::circle, frame().size());
    drag({frame().x + handle.x, frame().y + handle.y}, 30, -30);
    release({before.x + 40, before.y + 20 - 30, 190, 190});
    EXPECT_TRUE(runUntil([&] { return std::abs(defaults.doubleForKey("webcamWidth") - 190) <= 1; }));
    EXPECT_EQ(application.presses, 1);
    EXPECT_TRUE(application.isActiveWindow());
}

TEST_P(WebcamBubblePixelTests, MenuHidesIt) {
    bubble.apply();
    show();
    pointTo(frame().midX(), frame().midY());
    xdotool({"click", "3"});
    EXPECT_TRUE(runUntil([&] { return QApplication::activePopupWidget() != nullptr; }));
    auto* const menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
    ASSERT_NE(menu, nullptr);
    const Point place{frame().midX() - 25, frame().midY() + 15};
    const Point middle = middleOf(*menu);
    const QPoint hide = menu->actionGeometry(menu->actions().back()).center() - menu->rect().center();
    clickAt(middle.x, middle.y - hide.y());
    EXPECT_TRUE(runUntil([&] {
        executor.drain();
        return !bubble.windowNumber();
    }));
    EXPECT_TRUE(comesToShow(place.x, place.y, Application::color, 0));
}

TEST_P(WebcamBubblePixelTests, HandleLabelPillAndRing) {
    bubble.apply();
    show();
    const Point handle = bubble::handleCenter(WebcamShape::circle, frame().size());
    const Point at{frame().x + handle.x, frame().y + handle.y};
    pointTo(frame().midX(), frame().midY());
    EXPECT_TRUE(comesToShow(at.x, at.y, {255, 255, 255}));
    pointTo(at.x, at.y);
    xdotool({"mousedown", "1"});
    const Point label{frame().midX() - 28, frame().midY()};
    EXPECT_TRUE(comesToShow(label.x, label.y, over({0, 0, 0}, 0.7, right)));
    xdotool({"mouseup", "1"});
    pointTo(main.frame.x + 20, 20);
    EXPECT_TRUE(comesToShow(label.x, label.y, right));
    EXPECT_TRUE(comesToShow(at.x + 4.5, at.y - 4.5, Application::color)) << "the handle's outer part";

    const Rect bar = bubble::layoutLevelPill(WebcamShape::circle, frame().size()).bars[0];
    const Point lit{frame().x + bar.midX(), frame().y + bar.midY()};
    const Rgb green{0x30, 0xd1, 0x58};
    bubble.setMicrophoneLevel(0.5F);
    EXPECT_TRUE(comesToShow(lit.x, lit.y, green));
    EXPECT_TRUE(comesToShow(frame().x + 2, frame().midY(), green)) << "the ring";
    bubble.setMicrophoneLevel(std::nullopt);
    EXPECT_TRUE(comesToShow(lit.x, lit.y, right));
    EXPECT_TRUE(comesToShow(frame().x + 2, frame().midY(), border));
    cameras.last().connectionChanged(false);
    EXPECT_TRUE(comesToShow(frame().midX() - 55, frame().midY(), {28, 29, 34})) << "a placeholder";
}

}  // namespace
}  // namespace lumicrate::test
