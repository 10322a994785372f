// SPDX-License-Identifier: GPL-3.0-or-later
// TimeSlider: a thin line with a filled part and a knob, for the position and the volume of a player.
#pragma once

#include "Views/Widgets/Accessibility.h"

#include <QWidget>
#include <functional>

namespace lumicrate::views {

/// Dark, like all controls over a picture. The value is a share, 0 … 1. Reached by Tab; the arrow keys move
/// the knob if there is a key step, else they go on to the window.
class TimeSlider final : public QWidget, public AccessibleValue {
 public:
    enum class Drag { moving, released };
    /// Called when the user moves the knob.
    using Handler = std::function<void(double value, Drag drag)>;

    TimeSlider(Handler moved, QWidget* parent);

    void setValue(double value);
    /// A share by which the arrow keys move the knob.
    void setKeyStep(double step) { keyStep_ = step; }
    /// What assistive technology is told: the value in units of which the whole has `maximum`, and its text.
    void setDescription(double maximum, std::function<QString(double value)> text);
    bool isDragged() const { return isDragged_; }

    QSize sizeHint() const override;

    double accessibleValue() const override { return value_ * maximum_; }
    Range accessibleRange() const override;
    QString accessibleValueText() const override;
    void setAccessibleValue(double value) override;

 protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

 private:
    double shareAt(double x) const;
    void moveTo(double value, Drag drag);

    Handler moved_;
    double value_ = 0;
    double keyStep_ = 0;
    double maximum_ = 1;
    std::function<QString(double)> text_;
    bool isDragged_ = false;
};

}  // namespace lumicrate::views
