// SPDX-License-Identifier: GPL-3.0-or-later
#include "App/CommandLine/RecordArguments.h"
#include "App/CommandLine/StatusLine.h"

namespace lumicrate::app {
namespace {

RecordArguments read(std::vector<std::string> arguments, const RecordingOptions& stored = {},
                     std::optional<CaptureMode> mode = CaptureMode::window) {
    return readRecordArguments(parseOptions(recordOptionSpecs(), arguments), stored, mode);
}

std::string refusal(std::vector<std::string> arguments) {
    try {
        read(std::move(arguments));
    } catch (const UsageError& error) {
        return error.what();
    }
    return "accepted";
}

TEST(RecordArgumentsTests, OptionsThatAreNotGivenAreThoseStored) {
    RecordingOptions stored;
    stored.fps = 60;
    stored.captureMicrophone = true;
    stored.microphoneID = "usb";
    stored.showCursor = false;

    const RecordArguments plain = read({}, stored);
    EXPECT_EQ(plain.mode, RecordArguments::Mode::screen);
    EXPECT_EQ(plain.options.fps, 60);
    EXPECT_EQ(plain.options.microphoneID, "usb");
    EXPECT_FALSE(plain.options.showCursor);
    EXPECT_FALSE(plain.systemAudioRequired);
    EXPECT_FALSE(plain.microphoneRequired);
    EXPECT_EQ(plain.duration, std::nullopt);

    const RecordArguments given =
        read({"--fps", "15", "--cursor", "--microphone", "--no-system-audio", "--quality=p720", "--format",
              "movHEVC", "--encoding-quality", "maximum", "--no-countdown", "--duration", "2.5"},
             stored);
    EXPECT_EQ(given.options.fps, 15);
    EXPECT_TRUE(given.options.showCursor);
    EXPECT_EQ(given.options.microphoneID, "");
    EXPECT_TRUE(given.microphoneRequired);
    EXPECT_FALSE(given.options.captureSystemAudio);
    EXPECT_EQ(given.options.quality, VideoQuality::p720);
    EXPECT_EQ(given.options.format, OutputFormat::movHEVC);
    EXPECT_EQ(given.options.encodingQuality, EncodingQuality::maximum);
    EXPECT_FALSE(given.options.countdown);
    EXPECT_EQ(given.duration, 2.5);
}

TEST(RecordArgumentsTests, ReadsTheSource) {
    EXPECT_EQ(read({}, {}, CaptureMode::audio).mode, RecordArguments::Mode::audio);
    EXPECT_EQ(read({"--screen"}, {}, CaptureMode::audio).mode, RecordArguments::Mode::screen);
    EXPECT_EQ(read({"--screen", "HDMI-1"}).screen, "HDMI-1");
    EXPECT_EQ(read({"--audio"}).mode, RecordArguments::Mode::audio);
    for (const char* number : {"25165835", "0x180000b", "0X180000B"}) {
        const RecordArguments window = read({"--window", number}, {}, CaptureMode::audio);
        EXPECT_EQ(window.mode, RecordArguments::Mode::window);
        EXPECT_EQ(window.window, 25165835U);
    }
    const RecordArguments area = read({"--area", "-10,20.5,640,480"});
    EXPECT_EQ(area.mode, RecordArguments::Mode::area);
    EXPECT_EQ(area.area, (Rect{-10, 20.5, 640, 480}));
}

TEST(RecordArgumentsTests, RefusesInvalidValues) {
    const std::pair<const char*, std::vector<const char*>> cases[] = {
        {"--area", {"1,2,3", "1,2,3,4,5", "1,2,3,x", "1,2,0,4"}},
        {"--fps", {"25", "60.0"}},
        {"--quality", {"P1080"}},
        {"--format", {"avi"}},
        {"--duration", {"0", "-1", "nan", "10s", "1e300"}},
        {"--output", {""}},
        {"--window", {"", "0", "0x", "-1", "0x100000000", "12ab"}}};
    for (const auto& [option, values] : cases)
        for (const char* value : values)
            EXPECT_NE(refusal({option, value}), "accepted") << option << " " << value;
    const std::vector<std::vector<std::string>> others = {
        {"--screen", "--area", "0,0,9,9"}, {"surprise"}, {"--window"}, {"--window", "12", "--audio"}};
    for (const auto& arguments : others)
        EXPECT_NE(refusal(arguments), "accepted") << arguments.front();
    EXPECT_EQ(refusal({"--window", "5", "--screen"}),
              "Give only one of --screen, --window, --area and --audio.");
    EXPECT_EQ(refusal({"--fps", "25"}), "“25” is not a valid value for --fps: give 15, 24, 30 or 60.");
}

class PlacementTests : public testing::Test {
 protected:
    std::vector<SCDisplay> displays = {{7, {0, 0, 1920, 1080}, 1, "left"},
                                       {9, {1920, 100, 800, 600}, 2, "right"}};
};

TEST_F(PlacementTests, FindsDisplaysByNumberOrNameOrTheMainOne) {
    EXPECT_EQ(findDisplay(displays, "right", 7).displayID, 9U);
    EXPECT_EQ(findDisplay(displays, "7", 9).displayID, 7U);
    EXPECT_EQ(findDisplay(displays, std::nullopt, 9).displayID, 9U);
    EXPECT_EQ(findDisplay(displays, std::nullopt, 1).displayID, 7U);
    EXPECT_THROW(findDisplay(displays, "middle", 7), LocalizedError);
    EXPECT_THROW(findDisplay({}, std::nullopt, 7), LocalizedError);
}

TEST_F(PlacementTests, ClipsAnAreaToTheDisplayThatShowsMostOfIt) {
    const PlacedArea across = placeArea(displays, {1900, 200, 200, 100});
    EXPECT_EQ(across.displayID, 9U);
    EXPECT_EQ(across.area, (Rect{0, 100, 180, 100}));
    const PlacedArea corner = placeArea(displays, {-50, -50, 100, 100});
    EXPECT_EQ(corner.displayID, 7U);
    EXPECT_EQ(corner.area, (Rect{0, 0, 50, 50}));
    for (const Rect& off : {Rect{5000, 0, 100, 100}, Rect{-100, 0, 100, 100}, Rect{1930, 0, 50, 50}}) {
        EXPECT_THROW(placeArea(displays, off), LocalizedError);
    }
}

TEST(StatusLineTests, ShowsTimeSizeAndLevel) {
    using Phase = RecordingStatus::Phase;
    EXPECT_EQ(statusText({Phase::recording, 0, 65, 3'400'000, std::nullopt}), "● 01:05   3.4 MB");
    EXPECT_EQ(statusText({Phase::recording, 0, 3725.9, 1'250'000'000, 0.5F}),
              "● 1:02:05   1.2 GB   mic ▮▮▮▮▯▯▯▯");
    EXPECT_EQ(statusText({Phase::paused, 0, 0, 812'000, 0.9F}), "❚❚ 00:00   812 kB   mic ▯▯▯▯▯▯▯▯   paused");
    EXPECT_EQ(statusText({Phase::countingDown, 2, 0, 0, std::nullopt}), "Recording starts in 2…");
    EXPECT_EQ(statusText({Phase::saving, 0, 9, 1, std::nullopt}), "Saving…");
    EXPECT_EQ(statusText({Phase::saving, 0, 9, 1, std::nullopt, 0.428}), "Saving… 42 %");
}

}  // namespace
}  // namespace lumicrate::app
