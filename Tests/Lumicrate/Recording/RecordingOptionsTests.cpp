// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Recording/RecordingOptions.h"
#include "Tests/Lumicrate/FakePlatform.h"

namespace lumicrate::test {
namespace {

using namespace std::string_literals;

class RecordingOptionsTests : public testing::Test {
 protected:
    RecordingOptions read() {
        RecordingOptions::registerDefaults(defaults);
        return RecordingOptions::current(defaults);
    }

    FakeDefaults defaults;
};

TEST_F(RecordingOptionsTests, AFreshStoreHasTheRegisteredDefaults) {
    EXPECT_EQ(read(), RecordingOptions());
    EXPECT_THAT(defaults.stored, IsEmpty());
    const std::map<std::string, DefaultsValue, std::less<>> expected = {
        {"captureSystemAudio", true},
        {"captureMicrophone", false},
        {"microphoneID", ""s},
        {"quality", "p1080"s},
        {"fps", std::int64_t{30}},
        {"format", "mp4H264"s},
        {"showCursor", true},
        {"hideSelf", true},
        {"encodingQuality", "high"s},
        {"countdown", true},
        {"highlightClicks", false},
        {"webcamEnabled", false},
        {"webcamID", ""s},
        {"webcamWidth", 200.0},
        {"webcamShape", "circle"s},
        {"webcamBorder", "medium"s},
        {"webcamBorderColor", "#FFFFFF"s},
        {"areaRect", ""s},
        {"captureMode", "window"s},
        {"openPreview", true},
        {"mixAudio", true},
        {"webcamMirror", true},
        {"webcamMicLevel", true},
        {"checkForUpdates", true},
    };
    EXPECT_EQ(defaults.registered, expected);
}

TEST_F(RecordingOptionsTests, StoredValuesAreReadOrFallBack) {
    const struct {
        std::string key;
        DefaultsValue stored;
        std::function<void(RecordingOptions&)> change;
    } cases[] = {
        {"fps", std::int64_t{15}, [](auto& o) { o.fps = 15; }},
        {"fps", std::int64_t{24}, [](auto& o) { o.fps = 24; }},
        {"fps", std::int64_t{60}, [](auto& o) { o.fps = 60; }},
        {"fps", std::int64_t{25}, [](auto&) {}},
        {"fps", std::int64_t{0}, [](auto&) {}},
        {"fps", std::int64_t{1} << 32 | 15, [](auto&) {}},
        {"webcamWidth", 50.0, [](auto& o) { o.webcamWidth = 100; }},
        {"webcamWidth", 1000.0, [](auto& o) { o.webcamWidth = 480; }},
        {"webcamWidth", 321.5, [](auto& o) { o.webcamWidth = 321.5; }},
        {"format", "movHEVC"s, [](auto& o) { o.format = OutputFormat::movHEVC; }},
        {"format", "MOVHEVC"s, [](auto&) {}},
        {"quality", "native"s, [](auto& o) { o.quality = VideoQuality::native; }},
        {"quality", "p720"s, [](auto& o) { o.quality = VideoQuality::p720; }},
        {"quality", "p480"s, [](auto&) {}},
        {"encodingQuality", "maximum"s, [](auto& o) { o.encodingQuality = EncodingQuality::maximum; }},
        {"encodingQuality", ""s, [](auto&) {}},
        {"webcamShape", "rectangle"s, [](auto& o) { o.webcamShape = WebcamShape::rectangle; }},
        {"webcamShape", "star"s, [](auto&) {}},
        {"webcamBorder", "thick"s, [](auto& o) { o.webcamBorder = WebcamBorder::thick; }},
        {"webcamBorder", "Thick"s, [](auto&) {}},
        {"microphoneID", "usb"s, [](auto& o) { o.microphoneID = "usb"; }},
        {"areaRect", "{{1, 2}, {64, 48}}"s, [](auto& o) { o.areaRect = Rect(1, 2, 64, 48); }},
        {"areaRect", "{{0, 0}, {0.5, 300}}"s, [](auto&) {}},
        {"areaRect", "{{0, 0}, {1, 1}}"s, [](auto& o) { o.areaRect = Rect(0, 0, 1, 1); }},
        {"areaRect", "everything"s, [](auto&) {}},
        {"hideSelf", false, [](auto& o) { o.hideSelf = false; }},
        {"countdown", false, [](auto& o) { o.countdown = false; }},
        {"captureMicrophone", true, [](auto& o) { o.captureMicrophone = true; }},
        {"webcamMirror", false, [](auto& o) { o.webcamMirror = false; }},
    };
    for (const auto& each : cases) {
        defaults.stored = {{each.key, each.stored}};
        RecordingOptions expected;
        each.change(expected);
        EXPECT_EQ(read(), expected) << each.key;
    }
}

TEST_F(RecordingOptionsTests, AnOldBubbleSizeBecomesTheRegisteredWidth) {
    const std::pair<const char*, double> sizes[] = {
        {"small", 140}, {"medium", 200}, {"large", 280}, {"huge", 200}};
    for (const auto& [size, width] : sizes) {
        defaults.stored = {{"webcamSize", std::string(size)}};
        EXPECT_EQ(read().webcamWidth, width) << size;
        EXPECT_EQ(defaults.stored.size(), 1U) << "the old key stays, nothing is written";
    }
    defaults.stored = {{"webcamSize", "large"s}, {"webcamWidth", 150.0}};
    EXPECT_EQ(read().webcamWidth, 150);
}

}  // namespace
}  // namespace lumicrate::test
