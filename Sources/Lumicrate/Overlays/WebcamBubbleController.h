// SPDX-License-Identifier: GPL-3.0-or-later
// WebcamBubbleController: shows the camera's picture in a small floating panel that is recorded with the
// screen.
#pragma once

#include "Lumicrate/Overlays/OverlayContents.h"
#include "Lumicrate/Overlays/RecorderOverlays.h"
#include "Lumicrate/Overlays/WebcamBubbleModel.h"
#include "Platform/AVCaptureDevice.h"
#include "Platform/AVCaptureSession.h"
#include "Platform/NSUserDefaults.h"
#include "Support/Executor.h"

#include <memory>

namespace lumicrate {

/// Follows every change of the webcam preferences. The camera is open only while the bubble is shown. When
/// the camera is unplugged, the bubble shows a placeholder until it is connected again. Main thread only.
class WebcamBubbleController final : public WebcamBubbleShowing {
 public:
    /// All must outlive the controller.
    struct Services {
        Executor& executor;
        NSUserDefaults& defaults;
        const NSScreens& screens;
        AVCaptureDevices& devices;
        AVCaptureSessionFactory makeSession;
        OverlayContents& contents;
    };

    /// Shows nothing before the first apply() or showPanel().
    explicit WebcamBubbleController(Services services);
    ~WebcamBubbleController() override;
    WebcamBubbleController(const WebcamBubbleController&) = delete;
    WebcamBubbleController& operator=(const WebcamBubbleController&) = delete;

    void apply() override;
    void showPanel(RecordingOptions options) override;
    std::optional<Point> moveInside(Rect area) override;
    void moveCenter(Point center) override;
    void moveBy(double dx, double dy) override;
    void setMicrophoneLevel(std::optional<float> level) override;
    std::optional<std::uint32_t> windowNumber() const override;
    void setOnWindowChange(std::function<void()> changed) override { onWindowChange_ = std::move(changed); }
    void setOnError(std::function<void(const std::string&)> sink) override { onError_ = std::move(sink); }

    /// While suspended, the bubble is hidden and the camera is free for another part of the program.
    void setSuspended(bool suspended) override;
    bool isSuspended() const { return suspended_; }
    /// Closes the camera and hides the panel.
    void hide();
    /// Stores where the bubble is.
    void panelMoved();

    // The menu's actions; they change the stored preferences.
    void chooseShape(WebcamShape shape);
    void chooseSize(double width);
    void hideFromMenu();

 private:
    WebcamBubbleModel::Actions modelActions();
    void defaultsChanged();
    void follow(const RecordingOptions& options);
    void requestAccess();
    void present(const RecordingOptions& options);
    Rect initialFrame(const Size& size) const;
    std::optional<NSScreen> screenOfPanel() const;
    void setVisible(bool visible);
    void setFrame(const Rect& frame);
    void updatePreviewSize();
    void startSession(const std::string& deviceID);
    void stopSession();
    void sessionStarted(AVCaptureSession::Outcome outcome);
    void fail(const std::string& message);
    void store(std::string_view key, const DefaultsValue& value);
    void updateLevel();
    std::vector<MenuItem> makeMenu();

    Services services_;
    std::function<void(const std::string&)> onError_;
    std::function<void()> onWindowChange_;
    WebcamBubbleModel model_;
    std::unique_ptr<NSPanel> panel_;
    bool visible_ = false;
    std::unique_ptr<AVCaptureSession> session_;
    std::uint64_t sessionNumber_ = 0;
    /// The camera that was chosen for the session; empty for the default one.
    std::string deviceID_;
    PixelSize previewSize_;
    std::optional<float> level_;
    bool requestingAccess_ = false;
    bool suspended_ = false;
    /// A recording shows the bubble although the preferences do not.
    bool shownForRecording_ = false;
    bool applyPending_ = false;
    /// Expires with the controller, before work that was posted for it runs.
    std::shared_ptr<WebcamBubbleController*> self_;
    Subscription defaultsChanges_;
    Subscription screenChanges_;
};

}  // namespace lumicrate
