// SPDX-License-Identifier: GPL-3.0-or-later
// RecordingStrip: a recording from its beginning to its end, as a strip of pictures or as the loudness of its
// sound; and the position of the player on it.
#pragma once

#include "Lumicrate/Preview/PlayerModel.h"
#include "Lumicrate/Preview/StripPictures.h"
#include "Support/Published.h"

#include <QRectF>
#include <QString>
#include <QWidget>
#include <vector>

class QPainter;

namespace lumicrate::views {

/// The base of the strips on which a recording is edited.
class RecordingStrip : public QWidget {
 public:
    QSize sizeHint() const override;

 protected:
    static constexpr double margin = 12;
    static constexpr double trackHeight = 46;
    static constexpr double labelHeight = 18;
    static constexpr double handleWidth = 11;
    static constexpr double frameWidth = 3;
    static constexpr double corner = 6;

    /// Both must outlive it.
    RecordingStrip(PlayerModel& player, StripPictures& content, QWidget* parent);

    PlayerModel& player() const { return player_; }
    /// Where the whole recording is.
    QRectF track() const;
    double xOf(CMTime time) const;
    /// Of the nearest place on the track.
    CMTime timeAt(double x) const;
    void paintContent(QPainter& painter) const;
    void paintPosition(QPainter& painter) const;
    /// "01:05.23": to the hundredth, because pictures are closer than seconds.
    static QString preciseTime(double seconds);

 private:
    PlayerModel& player_;
    StripPictures::Pictures pictures_;
    std::vector<float> levels_;
    std::vector<Subscription> subscriptions_;
};

}  // namespace lumicrate::views
