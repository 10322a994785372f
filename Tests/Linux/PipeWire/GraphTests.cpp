#include "Linux/PipeWire/GraphWatch.h"

#include <gtest/gtest.h>

namespace lumicrate::pipewire {

TEST(GraphTests, RolesFollowFromMediaClasses) {
    const std::pair<const char*, NodeRole> cases[] = {
        {"Audio/Source", {.isMicrophone = true}},
        {"Audio/Source/Virtual", {.isMicrophone = true}},
        {"Audio/Duplex", {.isMicrophone = true, .isOutput = true}},
        {"Audio/Sink", {.isOutput = true}},
        {"Video/Source", {.isCamera = true}},
        {"Stream/Input/Audio", {}},
        {"Audio/Source/Internal", {}},
        {"", {}},
    };
    for (const auto& [mediaClass, role] : cases)
        EXPECT_EQ(roleOf(mediaClass), role) << mediaClass;
}

TEST(GraphTests, MetadataContainsTheDefaultDevice) {
    const std::pair<const char*, std::optional<std::string>> cases[] = {
        {R"({"name":"spk"})", "spk"},
        {R"({ "name": "alsa_output.pci-0000_00_1f.3.analog-stereo" })",
         "alsa_output.pci-0000_00_1f.3.analog-stereo"},
        {R"({"id":7,"more":{"name":"inner"},"name":"outer"})", "outer"},
        {R"({"name":"a \"quoted\" name"})", "a \"quoted\" name"},
        {R"({"name":42})", std::nullopt},
        {R"({"other":"spk"})", std::nullopt},
        {R"({"name":)", std::nullopt},
        {"spk", std::nullopt},
        {"", std::nullopt},
    };
    for (const auto& [metadata, name] : cases)
        EXPECT_EQ(defaultNameFrom(metadata), name) << metadata;
}

TEST(GraphTests, TheDefaultIsFirstAndTheOthersAreSortedByName) {
    const CaptureDevice zebra{"z", "Zebra"}, apple{"a", "Apple"}, appleToo{"b", "Apple"},
        middle{"m", "Middle"};
    std::vector<CaptureDevice> devices{zebra, appleToo, middle, apple};
    sortDevices(devices, "m");
    EXPECT_EQ(devices, (std::vector{middle, apple, appleToo, zebra}));
    sortDevices(devices, "gone");
    EXPECT_EQ(devices, (std::vector{apple, appleToo, middle, zebra}));
}

}  // namespace lumicrate::pipewire
