#include "Benchmarks/Recorder.h"
#include "Benchmarks/Report.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>

namespace lumicrate::bench {

namespace {

using testing::HasSubstr;

std::string commandLine(const char* recorder, const Assignment& assignment) {
    const auto all = allRecorders("lumicrate");
    const auto found = std::ranges::find(all, recorder, &Recorder::name);
    std::string line;
    for (const auto& word : found->command(assignment, found->program))
        line += word + " ";
    return line;
}

TEST(Recorder, AllGetTheSameAssignment) {
    Assignment assignment;
    assignment.display = ":7";
    assignment.file = "out.mp4";
    assignment.frame = {30, 40, 1920, 1080};
    assignment.setting.quality = "p720";
    assignment.setting.source = Source::Area;
    EXPECT_EQ(assignment.pictureSize().width, 1280);
    EXPECT_EQ(assignment.bitRate(), 3'317'760);
    EXPECT_THAT(commandLine("lumicrate", assignment), HasSubstr("--area 30,40,1920,1080 --quality p720 "));
    EXPECT_THAT(commandLine("ffmpeg", assignment),
                HasSubstr("-framerate 30 -video_size 1920x1080 -i :7+30,40 -vf scale=-2:720"));
    assignment.setting.source = Source::Window;
    assignment.setting.quality = "native";
    assignment.window = 1234;
    EXPECT_THAT(commandLine("lumicrate", assignment), HasSubstr("--window 1234 "));
    EXPECT_THAT(commandLine("ffmpeg", assignment), HasSubstr("-window_id 1234 -i :7 -c:v"));
}

Measurement costing(double seconds) {
    Measurement measurement;
    measurement.cost.userSeconds = seconds;
    return measurement;
}

TEST(Report, ShowsMediansAndTheirRatios) {
    const std::vector<Result> results{{"still", "ours", {costing(9), costing(1), costing(2)}},
                                      {"still", "peer", {costing(6), costing(10)}},
                                      {"moving", "ours", {}}};
    const auto report = json(results, "peer");
    EXPECT_EQ(report[0]["median"]["cpuSeconds"], 2);
    EXPECT_EQ(report[1]["median"]["cpuSeconds"], 8);
    EXPECT_TRUE(report[0]["median"]["lost"].is_null());
    EXPECT_TRUE(report[2]["ratioTo"]["peer"]["cpuSeconds"].is_null());
    EXPECT_THAT(table(results, "peer"), HasSubstr("still      ours               2.00    0.250"));
}

}  // namespace

}  // namespace lumicrate::bench
