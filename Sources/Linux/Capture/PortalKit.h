// SPDX-License-Identifier: GPL-3.0-or-later
// PortalKit: screen capture through the desktop portal, the way of Wayland desktops: the user shares a
// monitor or a window, and a PipeWire stream carries its pictures.
#pragma once

#include "Linux/Capture/CaptureKit.h"
#include "Linux/Capture/CastSource.h"
#include "Linux/Capture/ReconnectingClient.h"
#include "Linux/Portal/Registry.h"
#include "Linux/Portal/ScreenCastPortal.h"
#include "Linux/Wayland/Outputs.h"
#include "Platform/NSUserDefaults.h"
#include "Platform/SCContentSharingPicker.h"
#include "Platform/SCScreenshotManager.h"
#include "Support/DispatchQueue.h"
#include "Support/Executor.h"
#include "Support/Task.h"

#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace lumicrate::capture {

/// Shares one monitor or window at a time. What was shared is remembered in the preferences by the portal's
/// tokens, one for windows and one for each monitor that was asked for.
class PortalKit final : public CaptureKit, public SCContentSharingPicker, public SCScreenshotManager {
 public:
    /// All must outlive the kit.
    PortalKit(Executor& executor, portal::Registry& registry, NSUserDefaults& defaults);
    ~PortalKit() override;

    /// Restores the choice of this token instead of the remembered one, at the next request.
    void setToken(std::string token) { givenToken_ = std::move(token); }
    /// Of the current choice, for the next time; empty if the desktop remembers none.
    const std::string& latestToken() const { return latestToken_; }

    /// The computer was suspended and runs again. Some desktops leave a cast paused then; it is restarted, or
    /// replaced by a new one if the desktop restores it without a question.
    void noteWakeUp();

    void setScale(double /*scale*/) override {}
    /// The compositor's outputs, and what is shared; nothing else where the compositor does not tell.
    std::vector<SCDisplay> displays() const override;
    /// The window that is shared, if any.
    std::vector<SCWindow> windows() const override;

    bool CGPreflightScreenCaptureAccess() const override;
    bool canExcludeWindows() const override { return false; }
    std::uint32_t CGMainDisplayID() const override;
    Rect CGDisplayBounds(std::uint32_t displayID) const override;
    std::optional<Rect> windowBounds(std::uint32_t windowID) const override;
    bool windowExists(std::uint32_t windowID) const override { return windowBounds(windowID).has_value(); }
    /// Reports what is shared only; screens are followed by the toolkit.
    void setOnContentChange(std::function<void()> changed) override { contentChanged_ = std::move(changed); }

    Task<std::optional<SCSharedContent>> share(SCSharingRequest request) override;
    void endSharing() override;
    bool remembersChoice(SCSharingRequest::Kind kind) const override;
    void forgetChoices() override;

    /// None: windows are not visible to other programs.
    std::optional<CGImage> captureImage(std::uint32_t windowID, Size maximumSize) override;
    /// A shared display as it was when it was shared.
    std::optional<CGImage> captureDisplay(std::uint32_t displayID) override;

 private:
    struct Shared;
    using Answer = std::pair<std::optional<SCSharedContent>, std::exception_ptr>;

    std::unique_ptr<SampleSource> pictureSource(const SCContentFilter& filter,
                                                const SCStreamConfiguration& configuration) override;
    bool satisfies(const SCSharingRequest& request) const;
    Task<void> ask(SCSharingRequest request, Completion<Answer> answer);
    Task<void> takeShared(SCSharingRequest request, portal::ScreenCast cast);
    void castStalled();
    Task<void> renew();
    void continueWith(portal::ScreenCast cast);
    void castClosed();
    std::exception_ptr closingError() const;
    bool isSourceOnScreen() const;
    CastSource::PicturesEndedHandler picturesEndedHandler();
    Task<void> endUnlessClosed(std::shared_ptr<CastSource::Lifeline> source, std::exception_ptr error);
    void announceChange() const;
    std::vector<SCDisplay> outputDisplays() const;
    SCDisplay displayOf(const portal::ScreenCastStream& stream, PixelSize pixels,
                        std::optional<std::uint32_t> wanted) const;
    std::string tokenKey(const SCSharingRequest& request) const;
    std::string takeToken(const std::string& key);
    void storeToken(const std::string& key, const std::string& token);
    std::vector<std::string> tokenKeys(SCSharingRequest::Kind kind) const;

    Executor& executor_;
    NSUserDefaults& defaults_;
    ReconnectingClient<wayland::Outputs> outputs_;
    portal::ScreenCastPortal portal_;
    mutable bool isAvailable_ = false;
    std::function<void()> contentChanged_;
    std::string givenToken_;
    std::string latestToken_;
    std::unique_ptr<Shared> shared_;
    std::optional<Completion<Answer>> open_;  ///< of the request that is open
    std::shared_ptr<PortalKit*> self_;        ///< for work that other threads post
    SerialQueue queue_{"Lumicrate.first-picture"};
    RunningTask ending_;  ///< of pictures that ended
    RunningTask renewing_;
    RunningTask asking_;  ///< destroyed first, as are the other tasks: they use the rest
};

}  // namespace lumicrate::capture
