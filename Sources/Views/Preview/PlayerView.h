// SPDX-License-Identifier: GPL-3.0-or-later
// PlayerView: shows the picture of a player, with its transport bar over it.
#pragma once

#include "Lumicrate/Preview/PlayerModel.h"
#include "Support/Geometry.h"
#include "Support/Published.h"

#include <QImage>
#include <QRect>
#include <QWidget>
#include <functional>
#include <vector>

class QTimer;

namespace lumicrate::views {

class TransportBar;

/// The bar disappears while the pointer rests elsewhere, except before the recording was played. A click
/// plays or pauses, a double click toggles full screen.
class PlayerView final : public QWidget {
 public:
    /// `player` must outlive it.
    PlayerView(PlayerModel& player, std::function<void()> toggleFullScreen, QWidget* parent);

    /// The video's size as presented, in pixels; empty for sound.
    void setVideoSize(QSize size);
    /// The part of the picture, 0 … 1, that is shown at a time in seconds, enlarged; null for all of it.
    void setView(std::function<Rect(double seconds)> view);
    /// Where the picture is, in points.
    QRect pictureRect() const;

    /// Shows the bar for a while.
    void showBar();

    QSize minimumSizeHint() const override { return {160, 60}; }

 protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void showEvent(QShowEvent* event) override;

 private:
    void followPlayer();
    void requestPictures();
    void hideBarWhenIdle();

    PlayerModel& player_;
    std::function<void()> toggleFullScreen_;
    AVPlayer* shown_ = nullptr;
    bool wasPlaying_ = false;
    QSize videoSize_;
    std::function<Rect(double)> view_;
    TransportBar* bar_;
    QTimer* idle_;
    Subscription pictures_;
    std::vector<Subscription> subscriptions_;
};

}  // namespace lumicrate::views
