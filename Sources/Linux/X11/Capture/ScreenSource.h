// ScreenSource: the picture that a content filter asks for, as a source of samples.
#pragma once

#include "Linux/X11/Capture/DisplayCapture.h"
#include "Linux/X11/Capture/FramePacer.h"
#include "Linux/X11/Capture/PictureComposer.h"
#include "Linux/X11/Pixels/PixelBufferPool.h"
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

/// Delivers the first frame at once and then one for every real change of the picture, as often as the
/// configuration allows; when the changes cease, the last state has been delivered, and one frame of status
/// idle follows. While nothing happens the thread sleeps.
///
/// A frame's time is that of the host clock just before its pixels were read. No change is lost when all
/// buffers are in use: the frame is taken when one comes back.
class ScreenSource final : public SampleSource {
 public:
    /// `displayName` is the X server's (":1"), or empty for the one of $DISPLAY.
    ScreenSource(std::string displayName, SCContentFilter filter, SCStreamConfiguration configuration);
    ~ScreenSource() override;

    void start(Handlers handlers) override;
    void stop() override;
    /// Takes over source rectangle, shape, cursor and frame interval. The size of the pictures stays.
    void update(const SCStreamConfiguration& configuration) override;

    /// How often the thread has woken up so far. Any thread.
    std::uint64_t wakeUps() const { return wakeUps_; }

 private:
    using Time = std::chrono::nanoseconds;

    void run();
    void captureUntilStopped();
    void takeUpdate();
    void takeFrame();
    void deliverPicture(Time taken);
    void deliverIdle(Time now);
    void wait(std::optional<Time> until);

    const std::string displayName_;
    const SCContentFilter filter_;
    Handlers handlers_;
    std::shared_ptr<WakeUp> wakeUp_;
    std::atomic<bool> stopping_ = false;
    std::atomic<std::uint64_t> wakeUps_ = 0;
    std::mutex updateMutex_;
    std::optional<SCStreamConfiguration> update_;

    // The thread's own, once it runs:
    SCStreamConfiguration configuration_;
    std::optional<DisplayCapture> capture_;
    PictureComposer composer_;
    PixelBufferPool pool_;
    FramePacer pacer_;
    bool lookWanted_ = true;
    bool reshaped_ = true;  ///< the source is to be laid out anew
    std::uint64_t delivered_ = 0;
    std::optional<Time> idleAt_;  ///< when the stream counts as still, unless something changes before

    std::thread thread_;
};

}  // namespace lumicrate::x11
