// SPDX-License-Identifier: GPL-3.0-or-later
// StudioWindow: the window of the webcam studio: the live picture, the bar below it, and the countdown.
#pragma once

#include "Lumicrate/Webcam/WebcamStudio.h"
#include "Support/Published.h"
#include "Views/Shell/DocumentWindow.h"

namespace lumicrate::views {

class StudioBar;

/// The picture fills the window and is cut off where their proportions differ. Keys: Return records, Esc
/// cancels, Ctrl+W closes. It stays until its owner destroys it: closing it only calls the handler.
class StudioWindow final : public DocumentWindow {
 public:
    /// `studio`, with its session, must outlive the window.
    explicit StudioWindow(WebcamStudio& studio);
    ~StudioWindow() override;

 protected:
    void closeEvent(QCloseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    bool event(QEvent* event) override;

 private:
    void showContent(const WebcamStudio::Content& content);
    void placeBar();
    void requestPictures();
    void tellWindowManager();
    void paintPicture(QPainter& painter) const;
    void paintMessage(QPainter& painter, const QString& message) const;
    void paintCountdown(QPainter& painter, int number) const;

    WebcamStudio& studio_;
    WebcamStudio::Content content_;
    StudioBar* bar_;
    Subscription subscription_;
};

}  // namespace lumicrate::views
