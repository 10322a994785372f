// SPDX-License-Identifier: GPL-3.0-or-later
// Options, their values, preferences, and the arguments and status line of a recording.
#include "App/ApplicationStart.h"
#include "App/CaptureBackend.h"
#include "App/CommandLine/CommandLine.h"
#include "App/CommandLine/OptionParser.h"
#include "App/CommandLine/Preferences.h"
#include "App/CommandLine/RecordArguments.h"
#include "App/CommandLine/StatusLine.h"
#include "Linux/Desktop/UserDefaults.h"
#include "Tests/Linux/TemporaryFolder.h"

#include <gmock/gmock.h>

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
              "movHEVC", "--encoding-quality", "maximum", "--no-countdown", "--duration", "2.5",
              "--constant-frame-rate"},
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
    EXPECT_TRUE(given.options.constantFrameRate);
    EXPECT_EQ(given.duration, 2.5);
}

TEST(RecordArgumentsTests, ReadsTheSource) {
    EXPECT_EQ(read({}, {}, CaptureMode::audio).mode, RecordArguments::Mode::audio);
    EXPECT_EQ(read({"--screen"}, {}, CaptureMode::audio).mode, RecordArguments::Mode::screen);
    EXPECT_EQ(read({"--screen", "HDMI-1"}).screen, "HDMI-1");
    EXPECT_EQ(read({"--audio"}).mode, RecordArguments::Mode::audio);
    RecordingOptions stored;
    stored.webcamID = "builtin";
    EXPECT_EQ(read({"--webcam"}, stored).options.webcamID, "builtin");
    const RecordArguments webcam = read({"--webcam", "usb"}, stored);
    EXPECT_EQ(webcam.mode, RecordArguments::Mode::webcam);
    EXPECT_EQ(webcam.camera, "usb");
    EXPECT_FALSE(webcam.options.captureSystemAudio);
    stored.captureSystemAudio = false;
    const RecordArguments alone = read({"--window", "5", "--application-audio"}, stored);
    EXPECT_TRUE(alone.options.onlyApplicationAudio && alone.options.captureSystemAudio);
    EXPECT_TRUE(alone.systemAudioRequired);
    for (const char* number : {"25165835", "0x180000b", "0X180000B"}) {
        const RecordArguments window = read({"--window", number}, {}, CaptureMode::audio);
        EXPECT_EQ(window.mode, RecordArguments::Mode::window);
        EXPECT_EQ(window.window, 25165835U);
    }
    EXPECT_TRUE(read({"--clicks"}).options.highlightClicks);
    EXPECT_TRUE(read({"--keys"}).options.showKeys);
    EXPECT_FALSE(read({"--clicks", "--audio"}).options.highlightClicks) << "there are no pictures";
    std::vector<Rect> covers = read({"--screen", "--cover", "1,2,30,40; 1900,150,100,9"}).options.covers;
    EXPECT_EQ(covers, (std::vector{Rect{1, 2, 30, 40}, Rect{1900, 150, 100, 9}}));
    placeCovers({{9, {1920, 100, 800, 600}, 2, "right"}}, 9, covers);
    EXPECT_EQ(covers, std::vector{(Rect{0, 50, 80, 9})});
    stored.neverRecorded = {"Signal"};
    EXPECT_THAT(read({"--never-record", "signal, Vault"}, stored).options.neverRecorded,
                testing::ElementsAre("Signal", "Vault"));
    EXPECT_TRUE(read({"--never-record", ""}, stored).options.neverRecorded.empty());
    const RecordArguments area = read({"--area", "-10,20.5,640,480"});
    EXPECT_EQ(area.mode, RecordArguments::Mode::area);
    EXPECT_EQ(area.area, (Rect{-10, 20.5, 640, 480}));
}

TEST(RecordArgumentsTests, RefusesInvalidValues) {
    const std::pair<const char*, std::vector<const char*>> cases[] = {
        {"--area", {"1,2,3", "1,2,3,4,5", "1,2,3,x", "1,2,0,4"}},
        {"--fps", {"25", "60.0"}},
        {"--cover", {"1,2,3", "1,2,3,4,5,6"}},
        {"--quality", {"P1080"}},
        {"--format", {"avi"}},
        {"--duration", {"0", "-1", "nan", "10s", "1e300"}},
        {"--output", {""}},
        {"--window", {"", "0", "0x", "-1", "0x100000000", "12ab"}}};
    for (const auto& [option, values] : cases)
        for (const char* value : values)
            EXPECT_NE(refusal({option, value}), "accepted") << option << " " << value;
    const std::vector<std::vector<std::string>> others = {
        {"--screen", "--area", "0,0,9,9"}, {"surprise"}, {"--window", "12", "--audio"}};
    for (const auto& arguments : others)
        EXPECT_NE(refusal(arguments), "accepted") << arguments.front();
    EXPECT_EQ(refusal({"--window", "5", "--screen"}),
              "Give only one of --screen, --window, --area, --webcam and --audio.");
    EXPECT_EQ(refusal({"--webcam", "--system-audio"}), "A webcam is recorded without system audio.");
    EXPECT_EQ(refusal({"--application-audio"}),
              "--application-audio is for recordings of a window: add --window.");
    EXPECT_EQ(refusal({"--window", "5", "--application-audio", "--no-system-audio"}),
              "--application-audio and --no-system-audio exclude each other.");
    EXPECT_EQ(refusal({"--normalize-voice", "--no-clean-voice"}),
              "--normalize-voice and --no-clean-voice exclude each other.");
    EXPECT_THAT(refusal({"--duration", "1e9"}), testing::EndsWith("above 0, up to 2592000 (30 days)."));
    EXPECT_EQ(refusal({"--fps", "25"}), "“25” is not a valid value for --fps: give 15, 24, 30 or 60.");
}

class PlacementTests : public testing::Test {
 protected:
    std::vector<SCDisplay> displays = {{7, {0, 0, 1920, 1080}, 1, "left"},
                                       {9, {1920, 100, 800, 600}, 2, "right"}};
};

TEST_F(PlacementTests, FindsDisplaysByNumberOrNameOrTheMainOne) {
    const std::vector<CaptureDevice> cameras{{"usb-1", "Desk"}};
    EXPECT_EQ(findCamera(cameras, "Desk"), "usb-1");
    EXPECT_EQ(findCamera(cameras, "usb-1"), "usb-1");
    EXPECT_THROW(findCamera(cameras, "usb"), LocalizedError);
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

using Kind = OptionSpec::Kind;

constexpr OptionSpec specs[] = {
    {"json", Kind::flag, "", "As JSON."},
    {"cursor", Kind::negatable, "", "The pointer."},
    {"fps", Kind::value, "N", "Frames."},
    {"screen", Kind::optionalValue, "ID", "A screen."},
    {"microphone", Kind::negatableWithValue, "ID", "A microphone, with a text that is a little longer."},
};

ParsedOptions parse(std::vector<std::string> arguments) {
    return parseOptions(specs, arguments);
}

TEST(OptionParserTests, ReadsEveryForm) {
    const ParsedOptions none = parse({});
    EXPECT_FALSE(none.has("json"));
    EXPECT_EQ(none.isOn("cursor"), std::nullopt);

    const ParsedOptions all =
        parse({"--json", "--no-cursor", "--fps", "60", "--screen", "HDMI-1", "--microphone=a=b", "rest"});
    EXPECT_TRUE(all.has("json"));
    EXPECT_EQ(all.isOn("cursor"), false);
    EXPECT_EQ(all.value("fps"), "60");
    EXPECT_EQ(all.value("screen"), "HDMI-1");
    EXPECT_EQ(all.isOn("microphone"), true);
    EXPECT_EQ(all.value("microphone"), "a=b");
    EXPECT_EQ(all.positional(), std::vector<std::string>{"rest"});

    const ParsedOptions bare = parse({"--screen", "--microphone", "word", "--help", "--", "--json"});
    EXPECT_TRUE(bare.has("screen"));
    EXPECT_TRUE(bare.has("help"));
    EXPECT_EQ(bare.value("screen"), std::nullopt);
    EXPECT_EQ(bare.value("microphone"), std::nullopt);
    EXPECT_EQ(bare.positional(), (std::vector<std::string>{"word", "--json"}));
    // The last of several counts.
    EXPECT_EQ(parse({"--cursor", "--no-cursor"}).isOn("cursor"), false);
    EXPECT_EQ(parse({"--fps=15", "--fps=24"}).value("fps"), "24");
    EXPECT_EQ(parse({"--microphone=x", "--microphone"}).value("microphone"), std::nullopt);
}

TEST(OptionParserTests, SaysWhatIsInvalid) {
    const std::pair<std::vector<std::string>, std::string> cases[] = {
        {{"--frames"}, "Unknown option “--frames”."},
        {{"--no-json"}, "Unknown option “--no-json”."},
        {{"-x"}, "Unknown option “-x”."},
        {{"-json"}, "Unknown option “-json”."},
        {{"--json=1"}, "The option --json takes no value."},
        {{"--no-microphone=x"}, "The option --no-microphone takes no value."},
        {{"--fps"}, "The option --fps needs a value."},
        {{"--fps", "--json"}, "The option --fps needs a value."},
    };
    for (const auto& [arguments, sentence] : cases) {
        try {
            parse(arguments);
            ADD_FAILURE() << arguments.front();
        } catch (const UsageError& error) {
            EXPECT_EQ(error.what(), sentence);
        }
    }
}

TEST(OptionValuesTests, TimesAreSecondsOrClockTimes) {
    const std::pair<const char*, double> valid[] = {{"0", 0},
                                                    {"75", 75},
                                                    {"1.5", 1.5},
                                                    {"5.", 5},
                                                    {"1:05.25", 65.25},
                                                    {"90:00", 5400},
                                                    {"1:02:03.000001", 3723.000001}};
    for (const auto& [text, seconds] : valid) {
        ASSERT_TRUE(parseTime(text)) << text;
        EXPECT_EQ(parseTime(text)->seconds(), seconds);
    }
    EXPECT_EQ(parseTime("0.1234567"), CMTime(123456, 1000000));
    for (const char* text : {"", ".", "-1", "+1", "1e3", "1:60", "1:2:3:4", ":5", "1:", "5s", "0x1", "1.5.2",
                             "inf", "99999999999", "1.-5", " 1"})
        EXPECT_EQ(parseTime(text), std::nullopt) << text;
}

TEST(OptionValuesTests, WholeNumbersHaveARange) {
    for (const char* text : {"15", "4097", "12.5", "", "16x"})
        EXPECT_THROW(readIntegerOption(parse({std::string("--fps=") + text}), "fps", 16, 4096), UsageError)
            << text;
    EXPECT_EQ(readIntegerOption(parse({"--fps=16"}), "fps", 16, 4096), 16);
    EXPECT_EQ(readIntegerOption(parse({"--fps=4096"}), "fps", 16, 4096), 4096);
    EXPECT_EQ(readIntegerOption(parse({}), "fps", 16, 4096), std::nullopt);
}

TEST(PreferencesTests, AcceptWhatTheirKindAllows) {
    const std::string shortcut = R"({"keyCode":35,"modifiers":2304,"key":"P"})";
    const std::tuple<const char*, std::string, DefaultsValue> valid[] = {
        {"countdown", "off", false},
        {"countdown", "yes", true},
        {"fps", "60", std::string("60")},
        {"quality", "native", std::string("native")},
        {"webcamWidth", "140.5", 140.5},
        {"microphoneID", "any thing", std::string("any thing")},
        {"areaRect", "{{1, 2}, {3, 4}}", std::string("{{1, 2}, {3, 4}}")},
        {"areaRect", "", std::string()},
        {"recordingsFolder", "/mnt/clips", std::string("/mnt/clips")},
        {"shortcut.pause", "off", std::string("off")},
        {"shortcut.pause", shortcut, shortcut},
    };
    for (const auto& [key, text, value] : valid)
        EXPECT_EQ(findPreference(key).parse(text), value) << key;
    const std::pair<const char*, const char*> invalid[] = {
        {"countdown", "maybe"},        {"fps", "25"},        {"quality", "P1080"},
        {"webcamWidth", "99"},         {"webcamWidth", "x"}, {"areaRect", "1,2,3,4"},
        {"shortcut.toggle", "Ctrl+R"}, {"captureMode", ""},  {"webcamBorderColor", "reddish"},
        {"recordingsFolder", "Clips"},
    };
    for (const auto& [key, text] : invalid)
        EXPECT_THROW(findPreference(key).parse(text), UsageError) << key << text;
    EXPECT_THROW(findPreference("colour"), UsageError);
}

TEST(PreferencesTests, AnInvalidStoredValueIsNotInForce) {
    const test::TemporaryFolder folder;
    const std::tuple<const char*, const char*, const char*, bool> cases[] = {
        {"fps", "25", "30", false},
        {"format", "movHEVC", "movHEVC", true},
        {"quality", "P1080", "p1080", false},
        {"webcamWidth", "9999", "480", false},
        {"areaRect", "here", "", false},
        {"webcamBorderColor", "reddish", "#FFFFFF", false},
        {"recordingsFolder", "Clips", "", false},
        {"countdown", "maybe", "false", false},
        {"shortcut.pause", "Ctrl+P", "", false},
        {"microphoneID", "usb", "usb", true},
    };
    for (const auto& [key, stored, inForce, isValid] : cases) {
        SCOPED_TRACE(key);
        desktop::UserDefaults defaults(
            test::writeText(folder / key, std::string("[General]\n") + key + "=" + stored + "\n"));
        RecordingOptions::registerDefaults(defaults);
        EXPECT_EQ(findPreference(key).read(defaults), inForce);
        EXPECT_EQ(findPreference(key).invalidText(defaults), isValid ? std::nullopt : std::optional(stored));
    }
}

TEST(CommandLineTests, AStartOfTheApplicationIsToldFromACommand) {
    using Arguments = std::vector<std::string>;
    for (const Arguments& command : {Arguments{"record", "--backend", "x11"}, Arguments{"--version"},
                                     Arguments{"--background", "--help"}, Arguments{"reccord"}})
        EXPECT_EQ(readApplicationStart(command), std::nullopt) << command.front();
    for (const Arguments& invalid : {Arguments{"--backend=wayland"}, Arguments{"--action", "record-moon"},
                                     Arguments{"--background", "--loud"}, Arguments{"/clips/a.mp4", "b.mp4"}})
        EXPECT_THROW(readApplicationStart(invalid), UsageError) << invalid.front();

    const auto start = readApplicationStart(Arguments{"--background", "--backend", "portal"});
    EXPECT_EQ(captureBackend(), CaptureBackend::portal);
    unsetenv(backendVariable);
    ASSERT_TRUE(start);
    EXPECT_EQ(start->windows, ApplicationStart::Windows::background);
    EXPECT_EQ(readApplicationStart(Arguments{"--action=record-area"})->action, LauncherAction::recordArea);
    EXPECT_EQ(readApplicationStart(Arguments{"/clips/a.mp4", "/clips/b.mp4"})->opened.size(), 2U);
    EXPECT_EQ(readApplicationStart(Arguments{"open", "/clips/a.mp4"})->opened.size(), 1U);
}

}  // namespace
}  // namespace lumicrate::app
