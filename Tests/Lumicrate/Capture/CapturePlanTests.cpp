// SPDX-License-Identifier: GPL-3.0-or-later
// What is captured and how: content filter, stream configuration, bit rate.
#include "Lumicrate/Capture/CameraFormats.h"
#include "Lumicrate/Capture/ContentFilter.h"
#include "Lumicrate/Capture/NeverRecorded.h"
#include "Lumicrate/Capture/StreamConfiguration.h"
#include "Lumicrate/Capture/WindowFamily.h"
#include "Lumicrate/Recording/RecorderError.h"

namespace lumicrate::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::int32_t own = 42;

SCWindow window(std::uint32_t id, std::int32_t owner) {
    SCWindow result{id, {0, 0, 400, 300}, std::nullopt, 0, std::nullopt};
    if (owner != 0) result.owningApplication = SCRunningApplication{owner, "application"};
    return result;
}

std::vector<std::uint32_t> numbers(const SCContentFilter& filter) {
    std::vector<std::uint32_t> result;
    for (const SCWindow& each : filter.windows)
        result.push_back(each.windowID);
    return result;
}

class ContentFilterTests : public testing::Test {
 protected:
    ContentFilterTests() {
        content.displays = {{1, {0, 0, 1920, 1080}, 1, "left"}, {2, {1920, 100, 800, 600}, 2, "right"}};
        // Main window, control bar, area frame, bubble, click highlights; a window without an owner, and one
        // of another application.
        content.windows = {window(10, own), window(11, own), window(12, own), window(13, own),
                           window(14, own), window(20, 0),   window(21, 7)};
        request.overlays = {{13, 14}, {11, 12}};
        request.processID = own;
        request.mainDisplayID = 2;
    }

    SCShareableContent content;
    FilterRequest request;
};

TEST_F(ContentFilterTests, OwnWindowsAreExcludedExceptKeptOverlays) {
    request.source = CaptureSource::display(1);
    EXPECT_THAT(numbers(makeFilter(content, request).filter), ElementsAre(10, 11, 12));
    request.hideSelf = false;
    EXPECT_THAT(numbers(makeFilter(content, request).filter), ElementsAre(11, 12));
    // An invisible bubble is excluded like any other window.
    request.hideSelf = true;
    request.overlays.keep = {14};
    EXPECT_THAT(numbers(makeFilter(content, request).filter), ElementsAre(10, 11, 12, 13));
}

TEST_F(ContentFilterTests, OverlaysMayAppearLater) {
    SCContentFilter without = makeFilter(content, request).filter;
    EXPECT_EQ(without.excludedProcessID, own);
    EXPECT_THAT(without.exceptingWindows, ElementsAre(13, 14));
    request.overlays.keep = {};
    without = makeFilter(content, request).filter;
    setOverlays(without, {{13}, {12, 15}});
    EXPECT_THAT(without.exceptingWindows, ElementsAre(13));
    EXPECT_THAT(numbers(without), ElementsAre(10, 11, 12, 14, 15));

    request.hideSelf = false;
    EXPECT_EQ(makeFilter(content, request).filter.excludedProcessID, std::nullopt);
    request.source = CaptureSource::window(21);
    SCContentFilter alone = makeFilter(content, request).filter;
    setOverlays(alone, {{13}, {12}});
    EXPECT_THAT(numbers(alone), ElementsAre(21, 13));
    setOverlays(alone, {});
    EXPECT_THAT(numbers(alone), ElementsAre(21));
}

TEST(WindowFamilyTests, MenusAndDialogsBelongToTheirWindow) {
    // The recorded window, a dialog of it, and other windows.
    constexpr std::uint32_t recorded = 1, dialog = 2, document = 3, closed = 4;
    constexpr Rect over{100, 100, 50, 50}, overDialog{450, 10, 50, 50}, beside{900, 900, 50, 50};
    constexpr std::int32_t process = 7, other = 8;
    const SCWindowFacts family[] = {
        {.windowID = recorded,
         .processID = process,
         .clientID = 70,
         .leaderID = 71,
         .frame = {0, 0, 400, 300}},
        {.windowID = dialog, .processID = process, .clientID = 70, .frame = {300, 0, 200, 100}}};
    const struct {
        const char* what;
        bool belongs;
        SCWindowFacts facts;
    } cases[] = {
        {"dialog", true, {.processID = process, .transientFor = {recorded}, .frame = beside}},
        {"of another process", true, {.processID = other, .transientFor = {recorded}}},
        {"dialog of a dialog", true, {.processID = process, .transientFor = {closed, recorded}}},
        {"menu", true, {.processID = process, .unmanaged = true, .frame = over}},
        {"menu of the dialog", true, {.processID = process, .unmanaged = true, .frame = overDialog}},
        {"same leader", true, {.leaderID = 71, .unmanaged = true, .frame = over}},
        {"same connection", true, {.clientID = 70, .unmanaged = true, .frame = over}},
        {"alert", true, {.processID = process, .transientForGroup = true, .frame = over}},
        {"menu for the program",
         true,
         {.processID = process,
          .transientFor = {closed},
          .transientForGroup = true,
          .unmanaged = true,
          .frame = over}},
        {"menu elsewhere", false, {.processID = process, .unmanaged = true, .frame = beside}},
        {"another main window", false, {.processID = process, .frame = over}},
        {"its tool tip",
         false,
         {.processID = process, .transientFor = {document}, .unmanaged = true, .frame = over}},
        {"another program's menu",
         false,
         {.processID = other, .clientID = 80, .unmanaged = true, .frame = over}},
        {"of unknown origin", false, {.unmanaged = true, .frame = over}},
        {"notification",
         false,
         {.processID = process, .unmanaged = true, .windowLayer = windowLayer::notification, .frame = over}},
    };
    for (const auto& [what, belongs, facts] : cases)
        EXPECT_EQ(belongsToFamily(facts, family), belongs) << what;
}

TEST(NeverRecordedTests, AnApplicationIsAbsentWithAllItsWindows) {
    const std::vector<std::string> classes = readClasses(" KeePassXC,, signal , keepassxc");
    EXPECT_EQ(joinedClasses(classes), "KeePassXC, signal");
    constexpr std::int32_t listed = 7, other = 8, unknown = 9;
    const SCWindowFacts others[] = {
        {.windowID = 1, .processID = listed, .clientID = 70, .leaderID = 71, .windowClass = "keepassxc"},
        {.windowID = 2, .processID = other, .clientID = 80, .windowClass = "Editor"}};
    const struct {
        const char* what;
        bool isAbsent;
        SCWindowFacts facts;
    } cases[] = {
        {"of its class", true, {.processID = other, .windowClass = "SIGNAL"}},
        {"pop-up", true, {.processID = listed, .windowClass = "Menu", .unmanaged = true}},
        {"another main window", false, {.processID = listed, .windowClass = "Viewer"}},
        {"without a class", true, {.processID = listed}},
        {"of the same connection", true, {.clientID = 70}},
        {"of the same leader", true, {.processID = other, .leaderID = 71}},
        {"dialog of another process",
         true,
         {.processID = other, .windowClass = "Pinentry", .transientFor = {1}}},
        {"another program's window", false, {.processID = other, .windowClass = "Editor"}},
        {"its pop-up", false, {.processID = other, .unmanaged = true}},
        {"its dialog", false, {.processID = other, .windowClass = "Editor", .transientFor = {2}}},
        {"of a program without a class", true, {.processID = unknown, .clientID = 90}},
    };
    for (const auto& [what, isAbsent, facts] : cases)
        EXPECT_EQ(isNeverRecorded(facts, others, classes), isAbsent) << what;
}

TEST_F(ContentFilterTests, WindowsOfAListedApplicationAreNotRecorded) {
    request.neverRecorded = {"Application"};
    const SCWindowFacts menu{
        .windowID = 5, .processID = 7, .windowClass = "application", .transientFor = {21}};
    EXPECT_TRUE(makeFilter(content, request).filter.excludesWindow(menu, {}));
    request.source = CaptureSource::window(21);
    EXPECT_THROW(makeFilter(content, request), RecorderError);
    content.windows.back().owningApplication->applicationName = "editor";
    const SCWindowFacts family[] = {{.windowID = 21, .processID = 7, .windowClass = "editor"}};
    EXPECT_FALSE(makeFilter(content, request).filter.includesWindow(menu, family));
    request.neverRecorded.clear();
    EXPECT_TRUE(makeFilter(content, request).filter.includesWindow(menu, family));
}

TEST_F(ContentFilterTests, TheDisplayIsTheRequestedOneOrTheFirst) {
    const std::pair<std::optional<CaptureSource>, std::uint32_t> cases[] = {
        {std::nullopt, 2},           {CaptureSource::audioOnly(), 2}, {CaptureSource::display(1), 1},
        {CaptureSource::area(2), 2}, {CaptureSource::area(9), 1},
    };
    for (const auto& [source, displayID] : cases) {
        request.source = source;
        const CaptureTarget target = makeFilter(content, request);
        EXPECT_EQ(target.filter.display.displayID, displayID);
        EXPECT_EQ(target.filter.kind, SCContentFilter::Kind::displayExcludingWindows);
        EXPECT_EQ(target.windowSourceRect, std::nullopt);
    }
}

TEST_F(ContentFilterTests, AWindowIsCapturedOnTheDisplayThatShowsMostOfIt) {
    const struct {
        Rect frame;
        std::uint32_t displayID;
        Rect onDisplay;
    } cases[] = {
        {{100.5, 50.25, 300, 200}, 1, {100, 50, 301, 201}},
        {{1820, 200, 300, 200}, 2, {0, 100, 200, 200}},     // two thirds on the right
        {{1820, 200, 200, 200}, 1, {1820, 200, 100, 200}},  // halves: the first listed
        {{5000, 5000, 200, 200}, 1, {0, 0, 0, 0}},          // on none: the first listed
    };
    request.source = CaptureSource::window(21);
    for (const auto& each : cases) {
        content.windows.back().frame = each.frame;
        const CaptureTarget target = makeFilter(content, request);
        EXPECT_EQ(target.filter.kind, SCContentFilter::Kind::displayIncludingWindows);
        EXPECT_EQ(target.windowDisplayID, each.displayID);
        EXPECT_EQ(target.filter.display.displayID, each.displayID);
        EXPECT_EQ(target.windowSourceRect, each.onDisplay);
        EXPECT_THAT(numbers(target.filter), ElementsAre(21, 13, 14));
    }
}

TEST_F(ContentFilterTests, AWindowMayBeOnNoDisplay) {
    request.source = CaptureSource::window(21);
    content.displays.clear();
    const CaptureTarget target = makeFilter(content, request);
    EXPECT_EQ(target.filter.kind, SCContentFilter::Kind::desktopIndependentWindow);
    EXPECT_THAT(numbers(target.filter), ElementsAre(21));
    EXPECT_EQ(target.windowDisplayID, std::nullopt);
    EXPECT_EQ(target.windowSourceRect, std::nullopt);
}

TEST_F(ContentFilterTests, TheMainDisplayIsAListedOne) {
    EXPECT_EQ(chooseMainDisplay(content.displays, 2), 2U);
    EXPECT_EQ(chooseMainDisplay(content.displays, 9), 1U);
    EXPECT_EQ(chooseMainDisplay({}, 9), 9U);
}

class StreamConfigurationTests : public testing::Test {
 protected:
    /// For a display of that size in points.
    SCStreamConfiguration make(double width, double height, double density = 1) {
        target.filter.contentRect = {0, 0, width, height};
        target.filter.pointPixelScale = density;
        return makeConfiguration(target, source, options, {{"usb", "USB"}});
    }

    CaptureTarget target;
    std::optional<CaptureSource> source = CaptureSource::display(1);
    RecordingOptions options;
};

TEST_F(StreamConfigurationTests, ThePictureIsScaledDownToItsLimits) {
    using enum VideoQuality;
    using enum OutputFormat;
    const struct {
        double width, height, density;
        VideoQuality quality;
        OutputFormat format;
        int expectedWidth, expectedHeight;
    } cases[] = {
        {5120, 2880, 1, native, mp4H264, 4096, 2304}, {2560, 1440, 2, native, mp4H264, 4096, 2304},
        {5120, 2880, 1, native, movHEVC, 5120, 2880}, {3024, 1964, 1, p1080, mp4H264, 1663, 1080},
        {1512, 982, 2, p1080, mp4H264, 1663, 1080},   {1280, 720, 1, p1080, mp4H264, 1280, 720},
        {1920, 1080, 1, p720, mp4H264, 1280, 720},    {1, 1, 1, native, mp4H264, 2, 2},
        {8000, 1000, 1, p1080, mp4H264, 4096, 512},   {8000, 1000, 1, p1080, movHEVC, 8000, 1000},
        {333.3, 100, 1.5, native, mp4H264, 500, 150}, {801, 601, 1, native, movHEVC, 801, 601},
    };
    for (const auto& each : cases) {
        options.quality = each.quality;
        options.format = each.format;
        const SCStreamConfiguration made = make(each.width, each.height, each.density);
        EXPECT_EQ(made.width, each.expectedWidth) << each.width << " x " << each.height;
        EXPECT_EQ(made.height, each.expectedHeight) << each.width << " x " << each.height;
    }
}

TEST_F(StreamConfigurationTests, AreasAndWindowsAreCroppedAndSoundHasTheSmallestPicture) {
    const CaptureSource area = CaptureSource::area(1), window = CaptureSource::window(5);
    const struct {
        CaptureSource source;
        std::optional<Rect> areaRect, windowRect;
        double density;
        std::optional<Rect> crop;
        int width, height;
    } cases[] = {
        {area, Rect{1800, 1000, 640, 480}, {}, 2, Rect{1800, 1000, 120, 80}, 240, 160},
        {area, {}, {}, 1, {}, 1920, 1080},
        {area, Rect{3000, 0, 10, 10}, {}, 1, {}, 1920, 1080},
        {window, Rect{0, 0, 10, 10}, Rect{10, 20, 300, 200}, 1, Rect{10, 20, 300, 200}, 300, 200},
        {window, {}, Rect{0, 0, 0, 0}, 1, {}, 1920, 1080},
        {CaptureSource::audioOnly(), {}, {}, 1, {}, 2, 2},
    };
    options.quality = VideoQuality::native;
    for (const auto& each : cases) {
        SCOPED_TRACE(&each - cases);
        source = each.source;
        options.areaRect = each.areaRect;
        target.windowSourceRect = each.windowRect;
        const SCStreamConfiguration made = make(1920, 1080, each.density);
        EXPECT_EQ(made.sourceRect, each.crop);
        EXPECT_EQ(made.width, each.width);
        EXPECT_EQ(made.height, each.height);
        EXPECT_TRUE(made.preservesAspectRatio);
        EXPECT_EQ(made.followsFirstWindow, each.source == window);
    }
    const SCStreamConfiguration withoutDisplay = make(0, 0);
    EXPECT_EQ(withoutDisplay.width, 2);
    EXPECT_EQ(withoutDisplay.height, 2);
    EXPECT_EQ(withoutDisplay.minimumFrameInterval, CMTime(1, 1));
}

TEST_F(StreamConfigurationTests, TheRestFollowsTheOptions) {
    options.fps = 24;
    options.showCursor = false;
    options.captureSystemAudio = false;
    options.microphoneID = "usb";
    SCStreamConfiguration made = make(1920, 1080);
    EXPECT_EQ(made.minimumFrameInterval, CMTime(1, 24));
    EXPECT_FALSE(made.showsCursor);
    EXPECT_FALSE(made.capturesAudio);
    EXPECT_TRUE(made.excludesCurrentProcessAudio);
    EXPECT_FALSE(made.captureMicrophone);
    EXPECT_EQ(made.microphoneCaptureDeviceID, std::nullopt);
    EXPECT_EQ(made.queueDepth, 6);
    EXPECT_EQ(made.pixelFormat, 0x34323076U);

    options.captureMicrophone = true;
    EXPECT_EQ(make(1920, 1080).microphoneCaptureDeviceID, "usb");
    for (const char* other : {"", "unplugged"}) {
        options.microphoneID = other;
        made = make(1920, 1080);
        EXPECT_TRUE(made.captureMicrophone);
        EXPECT_EQ(made.microphoneCaptureDeviceID, std::nullopt);
    }
}

TEST_F(StreamConfigurationTests, OneApplicationsSoundIsThatOfTheRecordedWindow) {
    target.filter.windows = {window(3, 30), window(5, 50), window(6, 0)};
    const struct {
        CaptureSource source;
        bool isWanted;
        std::optional<std::int32_t> process;
    } cases[] = {{CaptureSource::window(5), true, 50},
                 {CaptureSource::window(5), false, std::nullopt},
                 {CaptureSource::window(6), true, std::nullopt},
                 {CaptureSource::display(5), true, std::nullopt}};
    for (const auto& each : cases) {
        source = each.source;
        options.onlyApplicationAudio = each.isWanted;
        EXPECT_EQ(make(1920, 1080).audioProcess, each.process) << &each - cases;
    }
}

TEST(MovieFormatTests, BitRatesFollowTheTable) {
    using enum EncodingQuality;
    using enum OutputFormat;
    const struct {
        int width, height, fps;
        EncodingQuality quality;
        OutputFormat format;
        std::int64_t expected;
    } cases[] = {
        {1920, 1080, 30, high, mp4H264, 7'464'960},      {1920, 1080, 30, high, movHEVC, 5'225'471},
        {320, 240, 15, standard, movHEVC, 1'000'000},    {1920, 1080, 30, standard, mp4H264, 3'732'480},
        {4096, 2304, 60, maximum, mp4H264, 135'895'449}, {16384, 16384, 60, maximum, mp4H264, 3'865'470'566},
    };
    for (const auto& each : cases) {
        RecordingOptions options;
        options.fps = each.fps;
        options.encodingQuality = each.quality;
        options.format = each.format;
        EXPECT_EQ(bitRate(each.width, each.height, options), each.expected)
            << each.width << " x " << each.height;
    }
}

TEST(MovieFormatTests, FilesFollowTheFormat) {
    EXPECT_EQ(movieFormat(OutputFormat::mp4H264, false),
              (MovieFormat{AVFileType::mpeg4, AVVideoCodecType::h264, "mp4"}));
    EXPECT_EQ(movieFormat(OutputFormat::movHEVC, false),
              (MovieFormat{AVFileType::quickTimeMovie, AVVideoCodecType::hevc, "mov"}));
    for (const OutputFormat format : allCases<OutputFormat>()) {
        EXPECT_EQ(movieFormat(format, true).fileType, AVFileType::appleM4A);
        EXPECT_EQ(movieFormat(format, true).fileExtension, "m4a");
    }
}

TEST(CameraFormatTests, TheBestFormatIsChosen) {
    using enum CameraPixels;
    struct Case {
        const char* name;
        std::vector<CameraFormat> offered;
        PixelSize wanted;
        double rate;
        std::optional<std::size_t> chosen;
    };
    const CameraFormat small{yuy2, {640, 480}, 30};
    const std::vector<CameraFormat> webcam{small,
                                           {yuy2, {1280, 720}, 10},
                                           {yuy2, {1920, 1080}, 5},
                                           {mjpg, {640, 480}, 30},
                                           {mjpg, {1280, 720}, 30},
                                           {mjpg, {1920, 1080}, 30}};
    for (const Case& each : {
             Case{"nothing offered", {}, {640, 480}, 30, {}},
             {"unusable sizes and rates",
              {{nv12, {8, 8}, 30}, {nv12, {65536, 4}, 30}, {nv12, {640, 480}, 0}},
              {640, 480},
              30,
              {}},
             {"uncompressed when it is fast", webcam, {400, 400}, 30, 0},
             {"the size after the rate", webcam, {1280, 720}, 30, 4},
             {"the smallest that covers", webcam, {641, 100}, 30, 4},
             {"the largest when none covers", webcam, {3840, 2160}, 30, 5},
             {"a low rate that is enough", webcam, {1920, 1080}, 5, 2},
             {"24 is fast enough", {{mjpg, {640, 480}, 30}, {nv12, {640, 480}, 23.976}}, {640, 480}, 30, 1},
             {"the wanted rate", {{nv12, {640, 480}, 60}, small, {nv12, {640, 480}, 25}}, {640, 480}, 30, 1},
             {"the highest rate", {{nv12, {640, 480}, 25}, small}, {640, 480}, 60, 1},
             {"tolerable before large", {{yuy2, {1920, 1080}, 5}, {yuy2, {320, 240}, 15}}, {640, 480}, 30, 1},
             {"slow", {{yuy2, {320, 240}, 5}, {yuy2, {1920, 1080}, 5}}, {640, 480}, 30, 1},
         })
        EXPECT_EQ(chooseCameraFormat(each.offered, each.wanted, each.rate), each.chosen) << each.name;
}

}  // namespace
}  // namespace lumicrate::test
