// SPDX-License-Identifier: GPL-3.0-or-later
// TimeSlider: a thin line with a filled part and a knob, for the position and the volume of a player.
#pragma once

#include <QWidget>
#include <functional>

namespace lumicrate::views {

/// Dark, like all controls over a picture. The value is a share, 0 … 1.
class TimeSlider final : public QWidget {
 public:
    enum class Drag { moving, released };
    /// Called when the user moves the knob.
    using Handler = std::function<void(double value, Drag drag)>;

    TimeSlider(Handler moved, QWidget* parent);

    void setValue(double value);
    bool isDragged() const { return isDragged_; }

    QSize sizeHint() const override;

 protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;

 private:
    double shareAt(double x) const;
    void moveTo(double value, Drag drag);

    Handler moved_;
    double value_ = 0;
    bool isDragged_ = false;
};

}  // namespace lumicrate::views
