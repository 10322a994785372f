// ScreenStage: a server, a painter, a source that captures the screen, and a collector that checks its
// frames.
#pragma once

#include "Linux/X11/Capture/ScreenSource.h"
#include "Linux/X11/Screens/Displays.h"
#include "Tests/Linux/X11/Painter.h"
#include "Tests/Stage/Xvfb.h"

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace lumicrate::test {

/// A picture's samples, rows without gaps.
struct Picture {
    Picture() = default;
    explicit Picture(const CVPixelBuffer& buffer);
    /// A screen's picture, converted by the reference kernel.
    explicit Picture(const x11::BgraPicture& screen);

    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> luma;
    std::vector<std::uint8_t> chroma;

    std::uint8_t y(int column, int row) const { return luma[static_cast<std::size_t>(row * width + column)]; }
    std::uint8_t cb(int column, int row) const { return chroma[chromaAt(column, row)]; }
    std::uint8_t cr(int column, int row) const { return chroma[chromaAt(column, row) + 1]; }
    bool operator==(const Picture&) const = default;

 private:
    std::size_t chromaAt(int column, int row) const {
        return static_cast<std::size_t>(row / 2 * ((width + 1) / 2 * 2) + column / 2 * 2);
    }
};

/// Collects frames, checks what must hold for each, and waits for what a test expects.
class FrameCollector {
 public:
    /// Everything so far.
    struct Seen {
        std::vector<CMSampleBuffer> complete;  // without pictures, but for the newest
        std::size_t idle = 0;
        Picture last;
        std::string failure;
        std::vector<std::string> notices;
        std::string violation;  // of the first invalid frame; empty if there is none
    };

    /// Called with every complete frame, on the source's thread.
    std::function<void(const CMSampleBuffer&)> onFrame;

    SampleSource::Handlers handlers();

    /// Waits until the condition holds; false after 30 seconds.
    bool waitUntil(const std::function<bool(const Seen&)>& condition);
    bool waitForFrames(std::size_t count);
    bool waitForPicture(const Picture& expected);
    Seen seen();

 private:
    void take(const CMSampleBuffer& sample);
    void check(const CMSampleBuffer& sample, const Picture& picture);

    std::mutex mutex_;
    std::condition_variable changed_;
    Seen seen_;
};

struct ScreenStage {
    static constexpr int width = 403;  // odd, and not a multiple of the block size
    static constexpr int height = 301;

    explicit ScreenStage(bool compositor = false, bool windowManager = false)
        : server({width, height, windowManager, compositor}) {
        configuration.width = width;
        configuration.height = height;
        configuration.showsCursor = false;
        configuration.minimumFrameInterval = CMTime(1, 60);
        painter.fill({0, 0, width, height}, 0x204060);
        painter.sync();
    }
    ~ScreenStage() {
        if (source) source->stop();
    }
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

    /// What the screen shows, as a picture that should be delivered.
    Picture expected(const PixelRect& rect = {0, 0, width, height}) { return Picture(painter.screen(rect)); }

    stage::Xvfb server;
    Painter painter{server.displayName()};
    SCStreamConfiguration configuration;
    FrameCollector frames;
    std::optional<x11::ScreenSource> source;
};

}  // namespace lumicrate::test
