// SPDX-License-Identifier: GPL-3.0-or-later
// Options, their values, and preferences given on the command line.
#include "App/CommandLine/OptionParser.h"
#include "App/CommandLine/Preferences.h"

namespace lumicrate::app {
namespace {

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
}

TEST(OptionParserTests, TheLastOfSeveralCounts) {
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

TEST(OptionParserTests, DescribesTheTable) {
    const std::string help = describeOptions(specs);
    for (const char* part :
         {"--json ", "--[no-]cursor ", "--fps N ", "--screen [ID] ", "--[no-]microphone[=ID] ", "--help "})
        EXPECT_NE(help.find(part), std::string::npos) << help;
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
        {"shortcut.pause", "off", std::string("off")},
        {"shortcut.pause", shortcut, shortcut},
    };
    for (const auto& [key, text, value] : valid)
        EXPECT_EQ(findPreference(key).parse(text), value) << key;
    const std::pair<const char*, const char*> invalid[] = {
        {"countdown", "maybe"}, {"fps", "25"},           {"quality", "P1080"},          {"webcamWidth", "99"},
        {"webcamWidth", "x"},   {"areaRect", "1,2,3,4"}, {"shortcut.toggle", "Ctrl+R"}, {"captureMode", ""},
    };
    for (const auto& [key, text] : invalid)
        EXPECT_THROW(findPreference(key).parse(text), UsageError) << key << text;
    EXPECT_THROW(findPreference("colour"), UsageError);
}

}  // namespace
}  // namespace lumicrate::app
