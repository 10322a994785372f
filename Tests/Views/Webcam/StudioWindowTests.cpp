// SPDX-License-Identifier: GPL-3.0-or-later
// The window of the webcam studio on a private desktop: picture, bar and keys.
#include "Tests/Linux/Desktop/EventLoop.h"
#include "Tests/Lumicrate/FakeCamera.h"
#include "Tests/Lumicrate/Recording/RecorderFixture.h"
#include "Views/Overlays/BarButton.h"
#include "Views/Webcam/StudioWindow.h"

#include <QPointer>
#include <QTest>
#include <cmath>

namespace lumicrate::test {
namespace {

constexpr std::uint32_t red = 0xff0000;
constexpr std::uint32_t blue = 0x0000ff;

/// The left half red, the right half blue.
RenderedPicture twoHalves(PixelSize size) {
    const auto pixels = std::make_shared<std::vector<std::uint32_t>>();
    for (int i = 0; i < size.width * size.height; ++i)
        pixels->push_back(i % size.width < size.width / 2 ? red : blue);
    return {size.width,
            size.height,
            std::size_t{4} * std::size_t(size.width),
            {pixels, reinterpret_cast<const std::uint8_t*>(pixels->data())}};
}

class StudioWindowTests : public RecorderFixture {
 protected:
    StudioWindowTests() {
        devices.seen = {{"builtin", "Built-in"}, {"usb", "A camera with an unusually long name & symbols"}};
        makeCameraSession = cameras.factory();
        makeStudioWindow = [this](WebcamStudio& studio) {
            auto made = std::make_unique<views::StudioWindow>(studio);
            window = made.get();
            return made;
        };
    }

    void open() {
        make().recordWebcam();
        executor.drain();
        ASSERT_TRUE(await([this] { return window->isActiveWindow(); }));
    }
    void run(const RenderedPicture& picture) {
        cameras.last().show(picture);
        cameras.last().started(AVCaptureSession::Outcome::running);
        executor.drain();
    }
    views::BarButton& button(const char* name) {
        return *window->findChild<views::BarButton*>(QLatin1String(name));
    }
    void press(Qt::Key key, Qt::KeyboardModifiers modifiers = {}) {
        QTest::keyClick(window, key, modifiers);
        executor.drain();
    }
    /// At a share of the window's width, in the middle of what is above the bar.
    std::uint32_t colorAt(double share) {
        const QImage seen = window->grab().toImage();
        return seen.pixel(static_cast<int>(share * (seen.width() - 1)), seen.height() / 4) & 0xffffffU;
    }

    FakeCameras cameras;
    QPointer<views::StudioWindow> window;
};

TEST_F(StudioWindowTests, ThePictureIsMirroredAndFillsTheWindow) {
    for (const bool mirrored : {true, false}) {
        defaults.stored["webcamMirror"] = mirrored;
        open();
        EXPECT_EQ(window->size(), QSize(640, 360));
        const PixelSize preview = cameras.last().previewSize;
        EXPECT_EQ(preview.width, std::lround(640 * window->devicePixelRatioF()));
        EXPECT_EQ(colorAt(0.02), 0U);
        for (const PixelSize size : {PixelSize{640, 360}, {640, 480}, {800, 300}}) {
            run(twoHalves(size));
            EXPECT_EQ(colorAt(0), mirrored ? blue : red);
            EXPECT_EQ(colorAt(1), mirrored ? red : blue);
        }
        window->hide();
        EXPECT_EQ(cameras.last().previewSize, PixelSize());
        recorder.reset();
        EXPECT_FALSE(window);
        EXPECT_FALSE(cameras.last().changed) << "the camera no longer calls the window";
    }
}

TEST_F(StudioWindowTests, ItsKeysRecordAndCancel) {
    open();
    press(Qt::Key_Return);
    EXPECT_EQ(*recorder->state, State::selectingArea) << "there is no picture yet";
    press(Qt::Key_Escape);
    expectIdle();
    EXPECT_FALSE(window);

    open();
    press(Qt::Key_W, Qt::ControlModifier);
    EXPECT_FALSE(window);

    open();
    run(twoHalves({640, 360}));
    press(Qt::Key_Return);
    executor.advance(100ms);
    EXPECT_EQ(*recorder->state, State::recording);
    press(Qt::Key_Escape);
    EXPECT_EQ(*recorder->state, State::recording) << "a key pressed by chance ends no recording";
    window->close();
    executor.drain();
    EXPECT_FALSE(recorder->isActive());
    EXPECT_FALSE(window);
}

TEST_F(StudioWindowTests, TheBarOffersWhatIsPossible) {
    defaults.stored["countdown"] = true;
    open();
    EXPECT_FALSE(button("record").isEnabled());
    run(twoHalves({640, 360}));
    EXPECT_TRUE(button("record").isEnabled());
    QTest::mouseClick(&button("microphone"), Qt::LeftButton);
    EXPECT_TRUE(button("microphone").isChecked());
    EXPECT_TRUE(defaults.boolForKey("captureMicrophone"));

    recorder->refreshDevices();
    cameras.last().deviceID = "usb";
    cameras.last().connectionChanged(true);
    EXPECT_EQ(button("camera").toolTip().toStdString(), devices.seen[1].name);
    window->resize(window->minimumSize());
    const QWidget* const bar = button("camera").parentWidget();
    EXPECT_TRUE(await([&] { return window->rect().contains(bar->geometry()); }));

    QTest::mouseClick(&button("record"), Qt::LeftButton);
    executor.drain();
    EXPECT_TRUE(button("cancel").isVisible());
    EXPECT_FALSE(button("camera").isVisible());
    executor.advance(3100ms);
    EXPECT_EQ(*recorder->state, State::recording);
    EXPECT_FALSE(bar->isVisible());
}

}  // namespace
}  // namespace lumicrate::test
