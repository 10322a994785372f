// SPDX-License-Identifier: GPL-3.0-or-later
// PictureSource: delivers a live picture as samples.
#pragma once

#include "Linux/Pictures/FramePacer.h"
#include "Linux/Pictures/LivePicture.h"
#include "Linux/Pictures/PictureComposer.h"
#include "Linux/Pictures/PixelBufferPool.h"
#include "Linux/Pictures/WakeUp.h"
#include "Platform/SampleSource.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

namespace lumicrate::pictures {

/// Delivers the first frame at once, then one for every change of pixels, as often as the configuration
/// allows. When the changes stop, the final state has been delivered, and one frame with status idle follows.
/// The thread sleeps while nothing changes.
///
/// A frame's time is the host clock's just before its pixels were read. When all buffers are in use, the next
/// frame is captured as soon as one is returned, and contains all changes until then.
class PictureSource : public SampleSource {
 public:
    /// Buffers in addition to the configured number, allocated only when they are needed. A receiver queues
    /// pictures itself and counts those that it refuses; waiting until it returns one would lose pictures
    /// that nobody counts.
    static constexpr int heldByReceiver = 18;

    /// Starts to capture. Called by start(); throws PlatformError.
    using Opener = std::function<std::unique_ptr<LivePicture>(const SCStreamConfiguration& configuration)>;

    /// `scale` is the content's pixels per point.
    PictureSource(Opener open, double scale, SCStreamConfiguration configuration);
    ~PictureSource() override;

    void start(Handlers handlers) override;
    void stop() override;
    /// Applies source rectangle, covers, aspect ratio, cursor, frame interval and revision. The pictures keep
    /// their size.
    void update(const SCStreamConfiguration& configuration) override;
    /// The filter must be of the same display and kind.
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

    const Opener open_;
    const double scale_;
    Handlers handlers_;
    std::shared_ptr<WakeUp> wakeUp_;
    std::atomic<bool> stopping_ = false;
    std::atomic<std::uint64_t> wakeUps_ = 0;
    std::mutex configurationMutex_;
    std::optional<SCStreamConfiguration> newConfiguration_;
    std::optional<SCContentFilter> newFilter_;

    // Used by the thread only, once it runs:
    SCStreamConfiguration configuration_;
    std::unique_ptr<LivePicture> capture_;
    PictureComposer composer_;
    PixelBufferPool pool_;
    FramePacer pacer_;
    bool updateDue_ = true;
    bool reshaped_ = true;     ///< the composer needs the source's size again
    bool isFrameDue_ = false;  ///< of a new revision, even if nothing has changed
    std::uint64_t delivered_ = 0;
    std::optional<Time> idleAt_;  ///< when to deliver an idle frame, unless something changes before

    std::thread thread_;
};

}  // namespace lumicrate::pictures
