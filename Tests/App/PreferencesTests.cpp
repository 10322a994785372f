#include "App/CommandLine/OptionParser.h"
#include "App/CommandLine/Preferences.h"

#include <gtest/gtest.h>

namespace lumicrate::app {
namespace {

TEST(PreferencesTests, AcceptWhatTheirKindAllows) {
    const std::tuple<const char*, const char*, DefaultsValue> accepted[] = {
        {"countdown", "off", false},
        {"countdown", "yes", true},
        {"fps", "60", std::string("60")},
        {"quality", "native", std::string("native")},
        {"webcamWidth", "140.5", 140.5},
        {"microphoneID", "any thing", std::string("any thing")},
        {"areaRect", "{{1, 2}, {3, 4}}", std::string("{{1, 2}, {3, 4}}")},
        {"areaRect", "", std::string()},
        {"shortcut.pause", "off", std::string("off")},
        {"shortcut.pause", R"({"keyCode":35,"modifiers":2304,"key":"P"})",
         std::string(R"({"keyCode":35,"modifiers":2304,"key":"P"})")},
    };
    for (const auto& [key, text, value] : accepted)
        EXPECT_EQ(findPreference(key).parse(text), value) << key;
}

TEST(PreferencesTests, RefuseTheRest) {
    const std::pair<const char*, const char*> refused[] = {
        {"countdown", "maybe"}, {"fps", "25"},           {"quality", "P1080"},          {"webcamWidth", "99"},
        {"webcamWidth", "x"},   {"areaRect", "1,2,3,4"}, {"shortcut.toggle", "Ctrl+R"}, {"captureMode", ""},
    };
    for (const auto& [key, text] : refused)
        EXPECT_THROW(findPreference(key).parse(text), UsageError) << key << text;
    EXPECT_THROW(findPreference("colour"), UsageError);
}

}  // namespace
}  // namespace lumicrate::app
