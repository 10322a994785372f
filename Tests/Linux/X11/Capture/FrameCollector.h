// FrameCollector: collects a source's frames, checks what must hold for each, and waits for what a test
// expects.
#pragma once

#include "Linux/X11/Pixels/BgraPicture.h"
#include "Platform/SampleSource.h"

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
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

}  // namespace lumicrate::test
