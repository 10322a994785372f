// SPDX-License-Identifier: GPL-3.0-or-later
// The casts of GNOME's compositor: pictures without damage, and the pointer in buffers without pictures.
#include "Linux/PipeWire/ScreenCastPicture.h"
#include "Tests/Stage/Await.h"
#include "Tests/Stage/Scene/FrameNumber.h"
#include "Tests/Stage/SoundServer.h"
#include "Tests/Stage/Wayland/Mutter.h"
#include "Tests/Stage/Xcb.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <vector>

namespace lumicrate::test {
namespace {

using stage::eventually;

/// The compositor draws without a GPU, and few pictures a second on a busy machine.
constexpr std::chrono::seconds timeout(60);

/// The number in the corner, read from the green of its pixels.
std::optional<int> numberIn(const pictures::BgraPicture& picture) {
    const auto view = picture.view();
    const auto* const green = reinterpret_cast<const std::uint8_t*>(view.row(0)) + 1;
    return stage::FrameNumber::read({green, picture.width() * 4, picture.width(), picture.height(), 4});
}

TEST(MutterCastTests, PicturesArriveAndThePointerIsNoPicture) {
    if (!stage::Mutter::isInstalled()) GTEST_SKIP() << "mutter is not installed.";
    const auto session = std::make_shared<stage::Session>();
    const stage::SoundServer sound(session);
    stage::Mutter mutter(session, {.monitors = {{640, 480}}});
    const std::uint32_t node = mutter.cast("Meta-0", stage::Mutter::Cursor::metadata);
    std::optional<stage::ChildProcess> scene(
        std::in_place,
        std::vector<std::string>{LUMICRATE_SCENE, "moving", "--wayland", "--fps", "30", "--seconds", "300",
                                 "--number-at", "0,0"},
        mutter.environment());
    scene->readLine();
    pipewire::ScreenCastPicture live({.address = {.node = node}}, {});
    ASSERT_EQ(live.picture().bounds(), (PixelRect{0, 0, 640, 480}));

    // The pictures are whole and none comes late; how many there are is a matter of the machine's load.
    std::vector<int> numbers;
    const auto update = [&] {
        live.processEvents();
        return live.update();
    };
    EXPECT_TRUE(eventually(
        [&] {
            update();
            const int number = numberIn(live.picture()).value_or(-1);
            if (numbers.empty() ? number >= 0 : number != numbers.back()) numbers.push_back(number);
            return numbers.size() >= 20;
        },
        timeout))
        << testing::PrintToString(numbers);
    EXPECT_TRUE(std::ranges::is_sorted(numbers));

    // A still window, over which only the pointer moves. Without it there is no pointer.
    scene.reset();
    const stage::ScopedEnvironment environment(mutter.environment());
    const stage::XcbConnection connection("");
    const xcb_window_t window = xcb_generate_id(connection.get());
    xcb_create_window(connection.get(), XCB_COPY_FROM_PARENT, window, connection.screen()->root, 0, 0, 640,
                      480, 0, XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, XCB_CW_BACK_PIXEL,
                      &connection.screen()->white_pixel);
    xcb_map_window(connection.get(), window);
    connection.sync();
    ASSERT_TRUE(eventually(
        [&] {
            update();
            return (live.picture().row(240)[320] & 0xffffff) == 0xffffff;
        },
        timeout));
    int unchanged = 0;
    ASSERT_TRUE(eventually([&] { return (unchanged = update().blocks.isEmpty() ? unchanged + 1 : 0) > 50; }));
    stage::VirtualInput& input = mutter.input();
    const auto pointerAt = [&](int x, int y) {
        input.movePointer(x, y);
        PixelRect frame;
        EXPECT_TRUE(eventually([&] {
            EXPECT_TRUE(update().blocks.isEmpty());
            frame = live.cursor().frame().offsetBy(-x, -y);
            return !frame.isEmpty() && frame.intersection({-32, -32, 64, 64}) == frame;
        })) << x
            << "," << y;
        return frame;
    };
    const PixelRect first = pointerAt(200, 150);
    EXPECT_EQ(pointerAt(500, 400), first) << "the same image, moved by exactly as much";
}

}  // namespace
}  // namespace lumicrate::test
