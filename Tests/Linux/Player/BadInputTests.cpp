// SPDX-License-Identifier: GPL-3.0-or-later
// The preview of files that are no good movies: one sentence, or as much as can be played, and no crash.
#include "Linux/Media/Editing/Assets.h"
#include "Linux/Media/Editing/CompactExport.h"
#include "Linux/Media/Editing/VideoCompositionExport.h"
#include "Linux/Media/Images/ImageIO.h"
#include "Linux/Player/MpvPlayer.h"
#include "Lumicrate/Preview/PreviewModel.h"
#include "Tests/Linux/LoopExecutor.h"
#include "Tests/Linux/Media/CountedMovie.h"
#include "Tests/Lumicrate/FakePlatform.h"

#include <gmock/gmock.h>

namespace lumicrate::test {
namespace {

using testing::AllOf;
using testing::EndsWith;
using testing::IsEmpty;
using testing::StartsWith;

/// The file may have its head twice.
std::string replaced(std::string bytes, const std::string& from, const std::string& to) {
    std::size_t place = bytes.find(from);
    if (place == std::string::npos) throw std::runtime_error("nothing to replace");
    for (; place != std::string::npos; place = bytes.find(from, place + to.size()))
        bytes.replace(place, from.size(), to);
    return bytes;
}

/// The end of a track header, for 160 by 96 pixels.
std::string presentation(const std::array<int, 9>& matrix) {
    std::string bytes;
    for (const int number : matrix) {
        for (int shift = 24; shift >= 0; shift -= 8)
            bytes += static_cast<char>(static_cast<unsigned>(number) >> shift & 0xFF);
    }
    return bytes + std::string("\0\xA0\0\0\0\x60\0\0", 8);
}

struct Case {
    const char* name;
    /// From the bytes of a good movie.
    std::function<std::string(const std::string&)> make;
    const char* error;  ///< why the file can't be read, or ""
    bool isPlayable;
};

const Case cases[] = {
    {"good", [](const std::string& good) { return good; }, "", true},
    {"text", [](const std::string&) { return "hello"; }, "it isn't a movie.", false},
    {"empty", [](const std::string&) { return ""; }, "it is empty.", false},
    {"cut", [](const std::string& good) { return good.substr(0, good.size() / 2); }, "it is cut off.", true},
    {"head", [](const std::string& good) { return good.substr(0, 400); }, "it is cut off.", false},
    {"codec", [](const std::string& good) { return replaced(good, "avc1", "zzz1"); }, "", false},
    {"turned",
     [](const std::string& good) {
         constexpr int one = 0x10000;
         constexpr int last = 0x40000000;
         return replaced(good, presentation({one, 0, 0, 0, one, 0, 0, 0, last}),
                         presentation({0, one, 0, -one, 0, 0, 0, 0, last}));
     },
     "", true},
};

TEST(BadInputTests, GivesASentenceOrWhatCanBePlayed) {
    const TemporaryFolder folder;
    const CountedMovie movie(folder / "source", {.seconds = 3});
    const media::Assets assets;
    const media::ImageIO images;
    const media::CompactExport exporter;
    const media::VideoCompositionExport composition;
    FakeFiles files;
    FakeDefaults defaults;
    NotificationCenter notifications;
    FakeWorkspace workspace;
    LoopExecutor executor;
    for (const Case& each : cases) {
        SCOPED_TRACE(each.name);
        const std::string name = std::string(each.name) + ".mp4";
        PreviewModel model(
            {executor, assets, images, exporter, composition, files, defaults, notifications, workspace,
             [&](const std::filesystem::path& url) {
                 return std::make_unique<player::MpvPlayer>(executor, url);
             },
             [](const std::string& label) { return std::make_unique<SerialQueue>(label); }, nullptr},
            writeText(folder / name, each.make(readText(movie.path))));
        model.load();
        PlayerModel& transport = model.playerView;
        transport.player()->setPictureSize(320, 240);
        ASSERT_TRUE(executor.await(
            [&] { return *model.errorMessage || transport.pictures().duration() > CMTime::zero(); }));
        const std::string prefix = "“" + name + "” couldn't be read: ";
        EXPECT_EQ(model.errorMessage->value_or(""), *each.error ? prefix + each.error : "");
        EXPECT_EQ(model.info->empty(), *each.error != '\0');
        if (each.isPlayable) {
            transport.play();
            EXPECT_TRUE(executor.await([&] { return transport.time() > CMTime(1, 5); }));
            EXPECT_THAT(*transport.error, IsEmpty());
        } else {
            ASSERT_TRUE(executor.await([&] { return !transport.error->empty(); }));
            EXPECT_THAT(*transport.error,
                        AllOf(StartsWith("The recording can't be played: "), EndsWith(".")));
        }
    }
}

}  // namespace
}  // namespace lumicrate::test
