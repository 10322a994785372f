// SPDX-License-Identifier: GPL-3.0-or-later
// ScreenSource: delivers the picture of a content filter as samples.
#pragma once

#include "Linux/X11/Capture/DisplayCapture.h"
#include "Linux/X11/Capture/FramePacer.h"
#include "Linux/X11/PixelConversion/PictureComposer.h"
#include "Linux/X11/PixelConversion/PixelBufferPool.h"
#include "Linux/X11/Server/WakeUp.h"
#include "Platform/SampleSource.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

namespace lumicrate::x11 {

/// Delivers the first frame at once, then one for every change of pixels, as often as the configuration
/// allows. When the changes stop, the final state has been delivered, and one frame with status idle follows.
/// The thread sleeps while nothing changes.
///
/// A frame's time is the host clock's just before its pixels were read. When all buffers are in use, the next
/// frame is captured as soon as one is returned, and contains all changes until then.
class ScreenSource final : public SampleSource {
 public:
    /// Buffers in addition to the configured number, allocated only when they are needed. A receiver queues
    /// pictures itself and counts those that it refuses; waiting until it returns one would lose pictures
    /// that nobody counts.
    static constexpr int heldByReceiver = 18;

    /// `displayName` is the X server's (":1"), or empty for that of $DISPLAY.
    ScreenSource(std::string displayName, SCContentFilter filter, SCStreamConfiguration configuration);
    ~ScreenSource() override;

    void start(Handlers handlers) override;
    void stop() override;
    /// Applies source rectangle, aspect ratio, cursor and frame interval. The pictures keep their size.
    void update(const SCStreamConfiguration& configuration) override;
    /// The filter's display must be the same.
    void setFilter(const SCContentFilter& filter) override;

    /// How often the thread has woken up. Any thread.
    std::uint64_t wakeUps() const { return wakeUps_; }

 private:
    using Time = std::chrono::nanoseconds;

    void run();
    void captureUntilStopped();
    void applyConfiguration();
    void updatePicture();
    int maxPadding() const;
    void deliverPicture(Time taken);
    void deliverIdle(Time now);

    const std::string displayName_;
    const SCContentFilter filter_;  ///< of the start
    Handlers handlers_;
    std::shared_ptr<WakeUp> wakeUp_;
    std::atomic<bool> stopping_ = false;
    std::atomic<std::uint64_t> wakeUps_ = 0;
    std::mutex configurationMutex_;
    std::optional<SCStreamConfiguration> newConfiguration_;
    std::optional<SCContentFilter> newFilter_;

    // Used by the thread only, once it runs:
    SCStreamConfiguration configuration_;
    std::optional<DisplayCapture> capture_;
    PictureComposer composer_;
    PixelBufferPool pool_;
    FramePacer pacer_;
    bool updateDue_ = true;
    bool reshaped_ = true;  ///< the composer needs the source's size again
    std::uint64_t delivered_ = 0;
    std::optional<Time> idleAt_;  ///< when to deliver an idle frame, unless something changes before

    std::thread thread_;
};

}  // namespace lumicrate::x11
