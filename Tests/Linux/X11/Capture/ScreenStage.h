// SPDX-License-Identifier: GPL-3.0-or-later
// ScreenStage: a server, a painter, a source that captures the screen, and a collector of its frames.
#pragma once

#include "Linux/X11/Capture/ScreenSource.h"
#include "Linux/X11/Screens/Displays.h"
#include "Tests/Linux/Pictures/FrameCollector.h"
#include "Tests/Linux/X11/TestWindow.h"
#include "Tests/Stage/Xvfb.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

namespace lumicrate::test {

struct ScreenStage {
    static constexpr int width = 403;  // odd, and not a multiple of the block size
    static constexpr int height = 301;
    static constexpr PixelRect whole{0, 0, width, height};

    explicit ScreenStage(bool compositor = false) : server({width, height, false, compositor}) {
        configuration.width = width;
        configuration.height = height;
        configuration.showsCursor = false;
        configuration.minimumFrameInterval = CMTime(1, 60);
        painter.fill(whole, 0x204060);
    }
    ~ScreenStage() { stop(); }
    ScreenStage(const ScreenStage&) = delete;
    ScreenStage& operator=(const ScreenStage&) = delete;

    /// The display of that name, or the first.
    SCDisplay display(const std::string& displayName = {}, double scale = 1) const {
        SCDisplay display;
        for (const SCDisplay& each : x11::Displays(server.displayName(), scale).displays())
            if (display.displayID == 0 || each.localizedName == displayName) display = each;
        return display;
    }
    /// Captures a whole display and waits for the first frame.
    void capture(const std::string& displayName = {}, double scale = 1) {
        capture(SCContentFilter::excludingWindows(display(displayName, scale), {}));
    }
    void capture(const SCContentFilter& filter) {
        source.emplace(server.displayName(), filter, configuration);
        source->start(frames.handlers());
        frames.waitForFrames(1);
    }
    void stop() {
        if (source) source->stop();
    }
    /// Stops, and checks all frames so far.
    void expectNoFault(const std::string& expectedFailure = {}) {
        stop();
        EXPECT_EQ(frames.seen().violation, "");
        EXPECT_EQ(frames.seen().failure, expectedFailure);
    }
    void setSourceRect(const Rect& rect) {
        configuration.sourceRect = rect;
        source->update(configuration);
    }

    /// What the screen shows, as a picture that should be delivered.
    Picture expected(const PixelRect& rect = whole) { return Picture(painter.screen(rect)); }

    stage::Xvfb server;
    ScreenPainter painter{server.displayName()};
    SCStreamConfiguration configuration;
    FrameCollector frames;
    std::optional<x11::ScreenSource> source;
};

}  // namespace lumicrate::test
