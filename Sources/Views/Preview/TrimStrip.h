// SPDX-License-Identifier: GPL-3.0-or-later
// TrimStrip: the recording as a strip of pictures, with two handles around the part to keep.
#pragma once

#include "Lumicrate/Preview/PlayerModel.h"
#include "Lumicrate/Preview/StripPictures.h"
#include "Support/Published.h"

#include <QWidget>
#include <vector>

namespace lumicrate::views {

/// Visible only while trimming. A click elsewhere than on a handle moves the position there. The handles are
/// reached by Tab and moved by the arrow keys: by one picture, with Shift by a second.
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
    void resizeEvent(QResizeEvent* event) override;

 private:
    class End;
    enum class Grip { none, start, end, position };

    QRectF track() const;
    double xOf(CMTime time) const;
    CMTime timeAt(double x) const;
    Grip gripAt(double x) const;
    void moveTo(Grip grip, CMTime time);
    void placeEnds(const std::optional<TrimRange>& trim);
    void paintContent(QPainter& painter, const QRectF& area) const;
    void paintTimes(QPainter& painter, const CMTimeRange& range) const;

    PlayerModel& player_;
    StripPictures::Pictures pictures_;
    std::vector<float> levels_;
    Grip grip_ = Grip::none;
    std::vector<End*> ends_;
    std::vector<Subscription> subscriptions_;
};

}  // namespace lumicrate::views
