#include "App/CommandLine/OptionParser.h"

#include <gtest/gtest.h>

namespace lumicrate::app {
namespace {

using Kind = OptionSpec::Kind;

constexpr OptionSpec specs[] = {
    {"json", Kind::flag, "", "As JSON."},
    {"cursor", Kind::negatable, "", "The pointer."},
    {"fps", Kind::value, "N", "Frames."},
    {"screen", Kind::optionalValue, "ID", "A screen."},
    {"microphone", Kind::negatableWithValue, "ID",
     "A microphone, described by a text that is a little longer."},
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

    const ParsedOptions bare = parse({"--screen", "--microphone", "word", "--", "--json"});
    EXPECT_TRUE(bare.has("screen"));
    EXPECT_EQ(bare.value("screen"), std::nullopt);
    EXPECT_EQ(bare.value("microphone"), std::nullopt);
    EXPECT_EQ(bare.positional(), (std::vector<std::string>{"word", "--json"}));
}

TEST(OptionParserTests, TheLastOfSeveralCounts) {
    EXPECT_EQ(parse({"--cursor", "--no-cursor"}).isOn("cursor"), false);
    EXPECT_EQ(parse({"--fps=15", "--fps=24"}).value("fps"), "24");
    EXPECT_EQ(parse({"--microphone=x", "--microphone"}).value("microphone"), std::nullopt);
}

TEST(OptionParserTests, SaysWhatItDoesNotUnderstand) {
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
         {"--json ", "--[no-]cursor ", "--fps N ", "--screen [ID] ", "--[no-]microphone[=ID] "}) {
        EXPECT_NE(help.find(part), std::string::npos) << help;
    }
}

}  // namespace
}  // namespace lumicrate::app
