#include "Benchmarks/BenchRequest.h"
#include "Benchmarks/Recorder.h"
#include "Benchmarks/Report.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>

namespace lumicrate::bench {

namespace {

using testing::HasSubstr;

TEST(BenchRequest, readsWhatIsAskedFor) {
    const auto request = parseBenchRequest({"--lumicrate", "prog", "--scenes", "still,mixed", "--area",
                                            "10,20,640,360", "--compositor", "--repeat", "5", "--fps", "60",
                                            "--quality", "p720", "--size", "3840x2160", "--seconds", "2.5"});
    ASSERT_TRUE(request);
    EXPECT_EQ(request->scenes, (std::vector<std::string>{"still", "mixed"}));
    EXPECT_TRUE(request->wants("lumicrate") && !request->wants("lumicrate-hevc"));
    EXPECT_TRUE(request->compositor);
    EXPECT_EQ(request->repeats, 5);
    EXPECT_EQ(request->display.height, 2160);
    const auto& setting = request->setting;
    EXPECT_EQ(setting.source, Source::Area);
    EXPECT_EQ(setting.area.y, 20);
    EXPECT_EQ(setting.area.height, 360);
    EXPECT_EQ(setting.framesPerSecond, 60);
    EXPECT_EQ(setting.seconds, 2.5);
}

TEST(BenchRequest, refusesWhatCannotBe) {
    using Line = std::vector<std::string>;
    for (const auto& line :
         {Line{}, Line{"--scenes"}, Line{"--no-such", "1"}, Line{"--seconds", "1"}, Line{"--fps", "30x"},
          Line{"--repeat", "0"}, Line{"--quality", "p480"}, Line{"--size", "1920"}, Line{"--source", "area"},
          Line{"--area", "0,0,100,100"}, Line{"--area", "0,0,641,360"}, Line{"--area", "1700,0,640,360"},
          Line{"--area", "0,0,640"}}) {
        auto whole = line;
        if (!line.empty()) whole.insert(whole.begin(), {"--lumicrate", "prog"});
        EXPECT_FALSE(parseBenchRequest(whole)) << testing::PrintToString(line);
    }
}

TEST(Assignment, hasTheSizeAndRateOfTheMovie) {
    struct Case {
        const char* quality;
        PixelSize frame;
        int framesPerSecond;
        PixelSize picture;
        std::int64_t bitRate;
    };
    for (const auto& [quality, frame, framesPerSecond, picture, bitRate] :
         {Case{"native", {1920, 1080}, 30, {1920, 1080}, 7'464'960},
          Case{"p720", {1920, 1080}, 60, {1280, 720}, 6'635'520},
          Case{"p720", {640, 480}, 30, {640, 480}, 1'105'920},
          Case{"p1080", {3840, 2160}, 30, {1920, 1080}, 7'464'960},
          Case{"native", {320, 200}, 30, {320, 200}, 1'000'000}}) {
        Assignment assignment;
        assignment.frame = {5, 7, frame.width, frame.height};
        assignment.setting.quality = quality;
        assignment.setting.framesPerSecond = framesPerSecond;
        EXPECT_EQ(assignment.pictureSize().width, picture.width);
        EXPECT_EQ(assignment.pictureSize().height, picture.height);
        EXPECT_EQ(assignment.bitRate(), bitRate);
    }
}

std::string commandLine(const char* recorder, const Assignment& assignment) {
    const auto all = allRecorders("lumicrate");
    const auto found =
        std::find_if(all.begin(), all.end(), [&](const auto& each) { return each.name == recorder; });
    std::string line;
    for (const auto& word : found->command(assignment, found->program)) {
        line += word + " ";
    }
    return line;
}

TEST(Recorder, isToldTheSameAsTheOthers) {
    Assignment assignment;
    assignment.display = ":7";
    assignment.file = "out.mp4";
    assignment.frame = {30, 40, 1920, 1080};
    assignment.setting.quality = "p720";
    assignment.setting.source = Source::Area;
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

TEST(Report, showsMediansAndTheirRatios) {
    const std::vector<Result> results{{"still", "ours", {costing(9), costing(1), costing(2)}},
                                      {"still", "peer", {costing(6), costing(10)}},
                                      {"moving", "ours", {}}};
    const auto report = json(results, "peer");
    EXPECT_EQ(report[0]["median"]["cpuSeconds"], 2);
    EXPECT_EQ(report[1]["median"]["cpuSeconds"], 8);
    EXPECT_EQ(report[0]["ratioTo"]["peer"]["cpuSeconds"], 0.25);
    EXPECT_EQ(report[0]["runs"].size(), 3U);
    EXPECT_TRUE(report[0]["median"]["lost"].is_null());
    EXPECT_TRUE(report[2]["median"]["cpuSeconds"].is_null());
    EXPECT_TRUE(report[2]["ratioTo"]["peer"]["cpuSeconds"].is_null());
    EXPECT_THAT(table(results, "peer"), HasSubstr("still      ours               2.00    0.250"));
}

}  // namespace

}  // namespace lumicrate::bench
