// SPDX-License-Identifier: GPL-3.0-or-later
// TransportBar: play, position, speed, volume and full screen, over the picture of a player.
#pragma once

#include "Lumicrate/Preview/PlayerModel.h"
#include "Support/Published.h"

#include <QWidget>
#include <functional>
#include <vector>

class QLabel;

namespace lumicrate::views {

class BarButton;
class TimeSlider;

class TransportBar final : public QWidget {
 public:
    /// `player` must outlive it.
    TransportBar(PlayerModel& player, std::function<void()> toggleFullScreen, QWidget* parent);

    /// Whether the pointer is on it or drags one of its knobs.
    bool isInUse() const;

 protected:
    void paintEvent(QPaintEvent* event) override;

 private:
    BarButton* addButton(const char* symbol, const QString& name, std::function<void()> act);
    void openSpeeds();
    void showRate(double rate);
    void showState();
    void showSound(double volume, bool muted);
    void scrub(double share, bool moving);

    PlayerModel& player_;
    BarButton* play_;
    QLabel* elapsed_;
    TimeSlider* position_;
    QLabel* duration_;
    BarButton* speed_;
    BarButton* mute_;
    TimeSlider* volume_;
    bool playsOn_ = false;  ///< playing is to continue after a drag of the position
    std::vector<Subscription> subscriptions_;
};

}  // namespace lumicrate::views
