// SPDX-License-Identifier: GPL-3.0-or-later
// The preview window, driven by keys: from the recording to the Trash.
#include "Tests/App/DesktopAppTest.h"
#include "Tests/Stage/Scene/FrameNumber.h"

#include <algorithm>
#include <sstream>

namespace lumicrate::test {
namespace {

using testing::ElementsAreArray;
using testing::SizeIs;

/// The numbers that a scene has drawn into its pictures.
std::vector<int> numbersIn(const std::filesystem::path& movie) {
    std::vector<int> numbers;
    MovieProbe(movie).visitPictures([&](const Picture& picture) {
        numbers.push_back(stage::FrameNumber::read(picture.luma()).value_or(-1));
        return true;
    });
    return numbers;
}

class PreviewTests : public DesktopAppTest {
 protected:
    static constexpr int toolsHeight = 52;
    static constexpr int stripHeight = 82;
    static constexpr std::uint8_t backdropGreen = 0x11;

    PreviewTests() : DesktopAppTest(true) {
        prefer("captureMode=screen\ncountdown=false\nopenPreview=true\n");
    }

    /// Records until there are some pictures, and waits for the preview.
    std::filesystem::path record() {
        RunningScene scene({"moving", "--fps", "9", "--seconds", "4", "--number-at", "0,0"});
        send("toggle");
        awaitState("recording");
        scene.awaitDrawn(30);
        send("toggle");
        awaitState("idle");
        return recordings().front();
    }
    static void press(const std::string& keys) {
        std::istringstream words(keys);
        for (std::string key; words >> key;)
            xdotool({"key", key});
    }
    static void awaitWindow(const std::string& title) {
        xdotool({"search", "--sync", "--onlyvisible", "--name", title, "windowfocus", "--sync"});
    }
    /// The number in the picture that the preview shows; none while it is on its way.
    static std::optional<int> shownNumber() {
        const auto found = stage::runToEnd({"xdotool", "search", "--onlyvisible", "--name", R"(\.mp4$)"});
        const auto window = static_cast<xcb_window_t>(std::atol(found.output.c_str()));
        const stage::XcbConnection connection(display());
        constexpr int barHeight = 20;
        const stage::XcbReply<xcb_get_geometry_reply_t> size(
            xcb_get_geometry_reply(connection.get(), xcb_get_geometry(connection.get(), window), nullptr));
        if (!size) return std::nullopt;
        const stage::XcbReply<xcb_get_image_reply_t> image(
            xcb_get_image_reply(connection.get(),
                                xcb_get_image(connection.get(), XCB_IMAGE_FORMAT_Z_PIXMAP, window, 0, 0,
                                              size->width, barHeight, ~0U),
                                nullptr));
        if (!image) return std::nullopt;
        // The strip takes its height from the picture, which then has the backdrop on both sides.
        const std::uint8_t* bytes = xcb_get_image_data(image.get());
        const int below = toolsHeight + (bytes[1] == backdropGreen ? stripHeight : 0);
        const double scale = std::min(double(size->width) / width, double(size->height - below) / height);
        const int left = static_cast<int>(size->width - scale * width) / 2;
        return stage::FrameNumber::read(
            {bytes + left * 4 + 1, size->width * 4, size->width - left, barHeight, 4}, scale);
    }
    static bool awaitNumber(int number) {
        return eventually([&] { return shownNumber() == number; });
    }
};

TEST_F(PreviewTests, ARecordingIsCutRenamedTurnedIntoAGIFAndTrashed) {
    start();
    const std::filesystem::path recorded = record();
    const std::vector<int> numbers = numbersIn(recorded);
    ASSERT_THAT(numbers, SizeIs(testing::Gt(14)));
    ASSERT_TRUE(awaitNumber(numbers[0]));
    press("t Right Right Right");
    ASSERT_TRUE(awaitNumber(numbers[3]));
    press("i shift+Right");
    std::ptrdiff_t last = 0;
    ASSERT_TRUE(eventually([&] {
        last = std::ranges::find(numbers, shownNumber().value_or(-2)) - numbers.begin();
        return last > 6 && last < std::ssize(numbers);
    }));
    press("Left");
    ASSERT_TRUE(awaitNumber(numbers[static_cast<std::size_t>(--last)]));
    press("o Return");
    awaitWindow("Save the trimmed recording");
    press("Return");
    ASSERT_TRUE(eventually([] { return recordings().size() == 2; }));
    const std::string name = recorded.stem().string();
    const std::filesystem::path copy = recorded.parent_path() / (name + "_trimmed.mp4");
    const std::vector<int> kept(numbers.begin() + 3, numbers.begin() + last + 1);
    EXPECT_THAT(numbersIn(copy), ElementsAreArray(kept));
    EXPECT_EQ(numbersIn(recorded), numbers);

    // Precisely, in place of the copy.
    ASSERT_TRUE(awaitNumber(kept[0]));
    press("t Right Right i");
    ASSERT_TRUE(awaitNumber(kept[2]));
    press("Return");
    awaitWindow("Save the trimmed recording");
    press("space Tab Tab space");
    const std::vector<int> precise(kept.begin() + 2, kept.end());
    ASSERT_TRUE(eventually([&] { return numbersIn(copy).size() == precise.size(); }));
    EXPECT_THAT(numbersIn(copy), ElementsAreArray(precise));

    ASSERT_TRUE(awaitNumber(precise[0]));
    press("F2 ctrl+a M y space c u t Return");
    const std::filesystem::path renamed = recorded.parent_path() / "My cut.mp4";
    ASSERT_TRUE(eventually([&] { return exists(renamed) && !exists(copy); }));
    awaitWindow("My cut");
    press("g Down Return");
    const std::filesystem::path gif = recorded.parent_path() / "My cut.gif";
    ASSERT_TRUE(eventually([&] { return exists(gif); }));
    EXPECT_GT(MovieProbe(gif).duration(), 0.5);
    awaitWindow("My cut");
    press("Delete");
    ASSERT_TRUE(eventually([&] { return !exists(renamed); }));
    EXPECT_TRUE(eventually([] { return !shownNumber(); }));
}

}  // namespace
}  // namespace lumicrate::test
