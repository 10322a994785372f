// SPDX-License-Identifier: GPL-3.0-or-later
// PreviewWindow: the window of one recording: player, trimming strip and tools, and the keys for all of them.
#pragma once

#include "Lumicrate/Preview/PreviewModel.h"
#include "Platform/NSWindow.h"
#include "Support/Published.h"

#include <QPoint>
#include <QWidget>
#include <functional>
#include <vector>

namespace lumicrate::views {

class PlayerView;
class PreviewTools;
class TintedLabel;
class TrimStrip;

/// Keys: Space plays and pauses; the arrows move by a picture, with Shift by a second; Home and End; T trims,
/// I and O set the ends, Return saves, Esc leaves trimming or full screen or cancels long work; F is full
/// screen, M mutes; G makes a GIF; Ctrl+C copies the file, F2 renames, Delete moves to the Trash, Ctrl+W
/// closes.
class PreviewWindow final : public QWidget, public NSWindow {
 public:
    /// `model` must outlive it.
    explicit PreviewWindow(PreviewModel& model);

    void setContentMinSize(Size size) override;
    void setContentSize(Size size) override;
    Size visibleFrameSize() const override;
    void center() override;
    void makeKeyAndOrderFront() override;
    void setOnClose(std::function<void()> closed) override { closed_ = std::move(closed); }

 protected:
    void closeEvent(QCloseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;

 private:
    void followModel();
    void showURL(const std::filesystem::path& url);
    void makeRoomForStrip(bool isTrimming);
    void toggleFullScreen();
    bool handleKey(const QKeyEvent& event);
    bool handleTrimKey(int key);
    void copyFile() const;

    PreviewModel& model_;
    PlayerView* player_;
    TrimStrip* strip_;
    TintedLabel* error_;
    PreviewTools* tools_;
    std::function<void()> closed_;
    QPoint pressed_;
    int grown_ = 0;  ///< points that the strip has added to the height
    std::vector<Subscription> subscriptions_;
};

}  // namespace lumicrate::views
