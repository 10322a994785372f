// SPDX-License-Identifier: GPL-3.0-or-later
// StudioBar: the controls of the webcam studio: camera, microphone, cancel and record.
#pragma once

#include "Lumicrate/Webcam/WebcamStudio.h"
#include "Views/Overlays/Selection/SelectionBar.h"

#include <functional>

namespace lumicrate::views {

class BarButton;

/// During the countdown only Cancel is left, and nothing during the recording.
class StudioBar final : public SelectionBar {
 public:
    /// `studio` must outlive the bar. `cancel` may destroy it later, but not at once.
    StudioBar(WebcamStudio& studio, std::function<void()> cancel, QWidget* parent);

    void showContent(const WebcamStudio::Content& content);

 private:
    class MicrophoneToggle;

    void addCamera();
    void addMicrophone();
    void addActions(std::function<void()> cancel);

    WebcamStudio& studio_;
    BarButton* camera_ = nullptr;
    MicrophoneToggle* microphone_ = nullptr;
    BarButton* microphones_ = nullptr;
    QWidget* divider_ = nullptr;
    BarButton* record_ = nullptr;
};

}  // namespace lumicrate::views
