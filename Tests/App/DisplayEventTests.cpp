// SPDX-License-Identifier: GPL-3.0-or-later
// Recordings of a monitor that is moved, resized, rotated or removed meanwhile.
#include "Tests/App/ProgramTest.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <chrono>

namespace lumicrate::test {
namespace {

using testing::HasSubstr;

struct Place {
    int x, y, width, height;

    std::string geometry() const {
        return std::to_string(width) + "/100x" + std::to_string(height) + "/100+" + std::to_string(x) + "+" +
               std::to_string(y);
    }
};

constexpr Place usual{640, 0, 640, 360};
constexpr int patch = 80;

/// Every patch of the desktop has a colour of its own.
Rgb patchColor(int x, int y) {
    return {40 + x / patch * 13, 240 - y / patch * 20, 60 + (x / patch + y / patch) % 3 * 60};
}

class DisplayEventTests : public ProgramTest {
 protected:
    DisplayEventTests() : ProgramTest({.display = {1280, 720, true, false}, .sound = false}) {
        painter.emplace();
        for (int y = 0; y < 720; y += patch) {
            for (int x = 0; x < 1280; x += patch) {
                const Rgb color = patchColor(x, y);
                painter->fill(x, y, patch, patch,
                              static_cast<std::uint32_t>(color.red << 16 | color.green << 8 | color.blue));
            }
        }
        setMonitor("beamer", usual.geometry());
    }
    void TearDown() override { deleteMonitor("beamer"); }

    /// Blinks in the monitor's top left corner until that is in the file.
    void awaitRecorded(const Place& monitor) {
        awaitGrowth(file, [&](bool on) { painter->fill(monitor.x, monitor.y, 16, 16, on ? 0xffffff : 0); });
    }

    std::optional<Painter> painter;
};

TEST_F(DisplayEventTests, AChangedMonitorIsFittedIntoTheSamePicture) {
    const struct {
        const char* name;
        Place now;      ///< of the recorded monitor
        Place picture;  ///< where it then appears in the picture of 640 × 360
    } events[] = {
        {"moved", {0, 240, 640, 360}, {0, 0, 640, 360}},
        {"with fewer pixels", {640, 0, 320, 180}, {0, 0, 640, 360}},
        {"rotated", {640, 0, 360, 640}, {219, 0, 203, 360}},
        {"with another beside it", usual, {0, 0, 640, 360}},
    };
    for (const auto& [name, now, picture] : events) {
        SCOPED_TRACE(name);
        const auto start = std::chrono::steady_clock::now();
        Program program = record({"--screen=beamer", "--no-cursor"});
        awaitRecorded(usual);
        deleteMonitor("beamer");
        setMonitor("beamer", now.geometry());
        setMonitor("other", "320/100x240/100+0+0");
        awaitRecorded(now);
        program.stop();
        const std::chrono::duration<double> ran = std::chrono::steady_clock::now() - start;
        deleteMonitor("other");

        expectPlayable(file);
        MovieProbe movie(file);
        EXPECT_LE(movie.duration(), ran.count());
        const stage::OwnedPicture last = movie.lastPicture();
        ASSERT_EQ(std::pair(last->width, last->height), std::pair(640, 360));
        // The centre of every whole patch that the monitor now shows, without the blinking one.
        for (int y = patch * 3 / 2; y + patch / 2 <= now.height; y += patch) {
            for (int x = patch * 3 / 2; x + patch / 2 <= now.width; x += patch) {
                const Rgb shown = last->rgbAt(picture.x + x * picture.width / now.width,
                                              picture.y + y * picture.height / now.height);
                EXPECT_LE(shown.distanceTo(patchColor(now.x + x, now.y + y)), 8) << x << ", " << y;
            }
        }
        if (picture.x > 0) {
            EXPECT_LE(last->rgbAt(picture.x / 2, 180).distanceTo({0, 0, 0}), 3);
        }
        std::filesystem::remove(file);
        deleteMonitor("beamer");
        setMonitor("beamer", usual.geometry());
    }
}

TEST_F(DisplayEventTests, OnlyTheRecordedMonitorEndsTheRecordingWhenItGoes) {
    setMonitor("other", "320/100x240/100+0+0");
    const auto displays = nlohmann::json::parse(run({"sources", "--json"}).output)["displays"];
    const auto beamer =
        std::ranges::find_if(displays, [](const auto& listed) { return listed["name"] == "beamer"; });
    ASSERT_NE(beamer, displays.end());
    EXPECT_EQ((*beamer)["x"], usual.x);
    Program program = record({"--screen=beamer"});
    awaitRecorded(usual);
    deleteMonitor("other");
    awaitRecorded(usual);
    deleteMonitor("beamer");
    const Outcome outcome = program.end();
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.error, HasSubstr("Recording stopped: The display is no longer available."));
    EXPECT_EQ(outcome.file(), file);
    expectPlayable(file);
    setMonitor("beamer", usual.geometry());
}

}  // namespace
}  // namespace lumicrate::test
