// SPDX-License-Identifier: GPL-3.0-or-later
// ScreenCastPicture: the picture of a screen or window that its desktop casts through PipeWire, kept up to
// date. screenCastSource(): its samples.
#pragma once

#include "Linux/Pictures/LivePicture.h"
#include "Linux/Pictures/ShadowImage.h"
#include "Linux/Pictures/WakeUp.h"
#include "Linux/PipeWire/CastControl.h"
#include "Linux/PipeWire/ScreenCastStream.h"
#include "Linux/PipeWire/Session.h"
#include "Linux/PipeWire/StallWatch.h"
#include "Platform/SampleSource.h"
#include "Platform/ScreenCaptureKit.h"
#include "Support/Error.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace lumicrate::pipewire {

/// One stream of a cast, as a desktop portal describes it.
struct ScreenCast {
    CastAddress address = {};
    Size size = {};  ///< of the content in points; empty for one point per pixel
    /// Called while a picture is overdue, several times a second for some seconds, to have the screen drawn.
    /// May be empty. Any thread.
    std::function<void()> requestPicture = {};
    std::shared_ptr<CastControl> control = {};  ///< may be null
};

/// The producer has ended the cast, while the server still runs.
class ScreenCastEnded final : public PlatformError {
 public:
    using PlatformError::PlatformError;
};

/// Copies each changed pixel once, from the producer's memory. When the cast pauses, the picture stays as it
/// is. What lies outside of the content is black.
class ScreenCastPicture final : public pictures::LivePicture {
 public:
    /// Waits some seconds until the format is known. Throws PlatformError when there is no such cast or the
    /// server cannot be reached; an error of the remote passes through.
    ScreenCastPicture(const ScreenCast& cast, const SCStreamConfiguration& configuration);
    ~ScreenCastPicture() override;

    int fileDescriptor() const override { return wakeUp_.fileDescriptor(); }
    /// The scale of `sourceRect` is that of the first picture, also if the content changes its size later.
    void configure(const SCStreamConfiguration& configuration) override;
    /// Changes nothing: the desktop decides what it casts.
    void setFilter(const SCContentFilter& /*filter*/) override {}
    /// Throws ScreenCastEnded, as does update().
    bool processEvents() override;
    std::optional<Time> nextUpdate() const override {
        return pictures::earliest({stallWatch_.due(), requestAt_});
    }
    Changes update() override;
    pictures::BgraPicture& picture() override { return shadow_.picture(); }
    const pictures::CursorOverlay& cursor() const override { return cursor_; }

 private:
    void open(const CastAddress& address);
    void failIfGone() const;
    void expectPicture();
    void requestPicture();
    void restartIfStalled();
    void readFrame(const CastFrame& frame, Changes& changes);
    bool locate(const UprightMap& map, Changes& changes);
    void merge(const CastFrame& frame, const PixelRect& part, Changes& changes);
    pictures::CursorOverlay currentCursor() const;

    const Size sizeInPoints_;
    std::optional<Rect> sourceRect_;
    bool showsCursor_ = false;
    bool regionStale_ = false;  ///< another part of the content is to be shown
    std::optional<double> scale_;
    const std::function<void()> requestPicture_;
    std::optional<Time> requestAt_;  ///< when to request a picture
    Time requestUntil_{};
    StallWatch stallWatch_;
    const std::shared_ptr<CastControl> control_;
    std::optional<CastAddress> replacement_;  ///< to be opened by the next update
    bool hasPicture_ = false;
    UprightMap map_;
    PixelRect region_;  ///< of the content; may reach outside of it
    pictures::ShadowImage shadow_{0, 0};
    std::vector<std::uint32_t> scratch_;
    pictures::CursorOverlay cursor_;

    pictures::WakeUp wakeUp_;
    std::unique_ptr<Session> session_;
    std::unique_ptr<ScreenCastStream> stream_;  ///< destroyed first: its callbacks still signal
};

/// A source of pictures for a capture stream.
std::unique_ptr<SampleSource> screenCastSource(ScreenCast cast, SCStreamConfiguration configuration);

}  // namespace lumicrate::pipewire
