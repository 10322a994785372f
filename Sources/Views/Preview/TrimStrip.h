// SPDX-License-Identifier: GPL-3.0-or-later
// TrimStrip: the recording as a strip of pictures, with two handles around the part to keep.
#pragma once

#include "Support/Published.h"
#include "Views/Preview/RecordingStrip.h"

#include <optional>
#include <vector>

namespace lumicrate::views {

/// Visible only while trimming. A click elsewhere than on a handle moves the position there. The handles are
/// reached by Tab and moved by the arrow keys: by one picture, with Shift by a second.
class TrimStrip final : public RecordingStrip {
 public:
    /// Both must outlive it.
    TrimStrip(PlayerModel& player, StripPictures& content, QWidget* parent);

 protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

 private:
    class End;
    enum class Grip { none, start, end, position };

    Grip gripAt(double x) const;
    void moveTo(Grip grip, CMTime time);
    void placeEnds(const std::optional<TrimRange>& trim);
    void paintTimes(QPainter& painter, const CMTimeRange& range) const;

    Grip grip_ = Grip::none;
    std::vector<End*> ends_;
    std::vector<Subscription> subscriptions_;
};

}  // namespace lumicrate::views
