#include "Tests/Linux/X11/Capture/ScreenStage.h"

#include "Linux/X11/Pixels/Nv12Converter.h"
#include "Support/Error.h"

#include <algorithm>
#include <chrono>

namespace lumicrate::test {

Picture::Picture(const CVPixelBuffer& buffer) : width(buffer.width), height(buffer.height) {
    const auto append = [](std::vector<std::uint8_t>& to, const std::uint8_t* from, int stride, int bytes,
                           int rows) {
        for (int row = 0; row < rows; ++row)
            to.insert(to.end(), from + row * stride, from + row * stride + bytes);
    };
    append(luma, buffer.luma, buffer.lumaStride, width, height);
    append(chroma, buffer.chroma, buffer.chromaStride, (width + 1) / 2 * 2, (height + 1) / 2);
}

Picture::Picture(const x11::BgraPicture& screen) : width(screen.width()), height(screen.height()) {
    const int chromaStride = (width + 1) / 2 * 2;
    luma.resize(static_cast<std::size_t>(width * height));
    chroma.resize(static_cast<std::size_t>(chromaStride * ((height + 1) / 2)));
    x11::convertToNv12(screen.view(), screen.bounds(), {luma.data(), width, chroma.data(), chromaStride},
                       x11::convertRowPair);
}

SampleSource::Handlers FrameCollector::handlers() {
    return {[this](const CMSampleBuffer& sample) { take(sample); },
            [this](const std::exception_ptr& error) {
                const std::lock_guard lock(mutex_);
                seen_.failure = localizedDescription(error);
                changed_.notify_all();
            },
            [this](const std::string& sentence) {
                const std::lock_guard lock(mutex_);
                seen_.notices.push_back(sentence);
                changed_.notify_all();
            }};
}

void FrameCollector::take(const CMSampleBuffer& sample) {
    if (sample.frameInfo->status == SCFrameStatus::complete && onFrame) onFrame(sample);
    const std::lock_guard lock(mutex_);
    if (sample.frameInfo->status == SCFrameStatus::idle) {
        ++seen_.idle;
        if (sample.imageBuffer) seen_.violation = "an idle frame with a picture";
    } else {
        Picture picture(*sample.imageBuffer);
        check(sample, picture);
        CMSampleBuffer kept = sample;
        kept.imageBuffer = nullptr;
        seen_.complete.push_back(std::move(kept));
        seen_.last = std::move(picture);
    }
    changed_.notify_all();
}

void FrameCollector::check(const CMSampleBuffer& sample, const Picture& picture) {
    const auto violated = [&](const std::string& what) {
        if (seen_.violation.empty())
            seen_.violation = what + " in frame " + std::to_string(seen_.complete.size());
    };
    const PixelRect bounds{0, 0, picture.width, picture.height};
    Picture patched = seen_.complete.empty() ? picture : seen_.last;
    if (seen_.complete.empty()) {
        if (sample.frameInfo->dirtyRects != std::vector{bounds})
            violated("a first frame that is not all dirty");
    } else {
        const CMSampleBuffer& before = seen_.complete.back();
        if (sample.frameInfo->sequence != before.frameInfo->sequence + 1) violated("a gap");
        if (!(sample.presentationTimeStamp() > before.presentationTimeStamp())) violated("time going back");
    }
    if (sample.frameInfo->dirtyRects.empty()) violated("nothing dirty");
    const auto chromaRow = static_cast<std::size_t>((picture.width + 1) / 2 * 2);
    for (const PixelRect& rect : sample.frameInfo->dirtyRects) {
        if (rect.intersection(bounds) != rect || rect.isEmpty()) violated("a rectangle outside");
        for (int y = rect.y; y < rect.maxY(); ++y) {
            const auto luma = static_cast<std::ptrdiff_t>(y * picture.width + rect.x);
            std::copy_n(picture.luma.begin() + luma, rect.width, patched.luma.begin() + luma);
            const auto chroma =
                static_cast<std::ptrdiff_t>(static_cast<std::size_t>(y / 2) * chromaRow) + rect.x;
            std::copy_n(picture.chroma.begin() + chroma, (rect.width + 1) / 2 * 2,
                        patched.chroma.begin() + chroma);
        }
    }
    if (patched != picture) violated("a change outside the dirty rectangles");
}

bool FrameCollector::waitUntil(const std::function<bool(const Seen&)>& condition) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, std::chrono::seconds(30), [&] { return condition(seen_); });
}

bool FrameCollector::waitForFrames(std::size_t count) {
    return waitUntil([&](const Seen& seen) { return seen.complete.size() >= count; });
}

bool FrameCollector::waitForPicture(const Picture& expected) {
    return waitUntil([&](const Seen& seen) { return seen.last == expected; });
}

FrameCollector::Seen FrameCollector::seen() {
    const std::lock_guard lock(mutex_);
    return seen_;
}

}  // namespace lumicrate::test
