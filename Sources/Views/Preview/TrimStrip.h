// SPDX-License-Identifier: GPL-3.0-or-later
// TrimStrip: the recording as a strip of pictures, with two handles around the part to keep.
#pragma once

#include "Lumicrate/Preview/PlayerModel.h"
#include "Lumicrate/Preview/StripPictures.h"
#include "Support/Published.h"

#include <QWidget>
#include <vector>

namespace lumicrate::views {

/// Visible only while trimming. A click elsewhere than on a handle moves the position there.
class TrimStrip final : public QWidget {
 public:
    /// Both must outlive it.
    TrimStrip(PlayerModel& player, StripPictures& content, QWidget* parent);

    QSize sizeHint() const override;

 protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

 private:
    enum class Grip { none, start, end, position };

    QRectF track() const;
    double xOf(CMTime time) const;
    CMTime timeAt(double x) const;
    Grip gripAt(double x) const;
    void drag(double x);
    void paintContent(QPainter& painter, const QRectF& area) const;
    void paintTimes(QPainter& painter, const CMTimeRange& range) const;

    PlayerModel& player_;
    StripPictures::Pictures pictures_;
    std::vector<float> levels_;
    Grip grip_ = Grip::none;
    std::vector<Subscription> subscriptions_;
};

}  // namespace lumicrate::views
