#include "Linux/Capture/CaptureKit.h"
#include "Support/Log.h"
#include "Tests/Linux/X11/TestWindow.h"
#include "Tests/Stage/Xvfb.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <optional>
#include <utility>

namespace lumicrate::capture {
namespace {

using test::TestWindow;

/// The handler is called at once.
SCShareableContent contentOf(const CaptureKit& capture) {
    SCShareableContent shareable;
    capture.getShareableContent([&](SCShareableContent content, const std::exception_ptr& error) {
        if (error) std::rethrow_exception(error);
        shareable = std::move(content);
    });
    return shareable;
}

TEST(CaptureKitTests, ContentAndItsChangesAreReportedAndARestartedServerIsFound) {
    std::optional<stage::Xvfb> server{std::in_place, stage::Xvfb::Options{.width = 400, .height = 300}};
    setenv("DISPLAY", server->displayName().c_str(), 1);
    CaptureKit capture;
    std::string log;
    {
        const LogCapture lines(
            [&](LogArea, double, std::string_view text) { log.append(text).append("\n"); });
        EXPECT_TRUE(capture.CGPreflightScreenCaptureAccess());
    }
    for (const char* fact :
         {"extension MIT-SHM 1.", "compositing manager: no\n", "scale 1.0", "400 × 300 pixels at 0, 0"})
        EXPECT_NE(log.find(fact), std::string::npos) << fact << " in\n" << log;
    std::atomic<int> changes = 0;
    capture.setOnContentChange([&] { ++changes; });
    TestWindow window(server->displayName(), {.frame = {10, 20, 90, 80}, .title = "x"});
    EXPECT_TRUE(test::eventually([&] { return changes > 0; }));
    capture.setOnContentChange(nullptr);
    const int before = changes;
    window.move(30, 30);
    const SCShareableContent content = contentOf(capture);
    ASSERT_EQ(content.windows.size(), 1U);
    ASSERT_EQ(content.displays.size(), 1U);
    EXPECT_EQ(content.windows[0].windowID, window.id());
    EXPECT_EQ(content.windows[0].owningApplication->processID, getpid());
    EXPECT_EQ(capture.windowBounds(window.id()), (Rect{30, 30, 90, 80}));
    EXPECT_EQ(changes, before);

    server->kill();
    EXPECT_FALSE(capture.CGPreflightScreenCaptureAccess());
    EXPECT_EQ(capture.windowBounds(window.id()), std::nullopt);
    EXPECT_THROW(contentOf(capture), PlatformError);
    EXPECT_EQ(capture.CGMainDisplayID(), 0U);
    capture.setOnContentChange([] {});

    server.emplace(stage::Xvfb::Options{.width = 500, .height = 300});
    setenv("DISPLAY", server->displayName().c_str(), 1);
    EXPECT_TRUE(capture.CGPreflightScreenCaptureAccess());
    EXPECT_EQ(contentOf(capture).displays.at(0).frame, (Rect{0, 0, 500, 300}));
    EXPECT_TRUE(contentOf(capture).windows.empty());
}

}  // namespace
}  // namespace lumicrate::capture
