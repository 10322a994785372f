// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/Preview/TimeSlider.h"

#include "Views/Overlays/OverlayStyle.h"

#include <QMouseEvent>
#include <QPainter>
#include <QWheelEvent>
#include <algorithm>
#include <utility>

namespace lumicrate::views {

namespace {

constexpr double line = 4;
constexpr double knob = 6;  ///< radius

}  // namespace

TimeSlider::TimeSlider(Handler moved, QWidget* parent) : QWidget(parent), moved_(std::move(moved)) {
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    setCursor(Qt::PointingHandCursor);
    setAttribute(Qt::WA_Hover);
}

QSize TimeSlider::sizeHint() const {
    return {80, overlay::control::height};
}

void TimeSlider::setValue(double value) {
    if (isDragged_ || value == value_) return;
    value_ = std::clamp(value, 0.0, 1.0);
    update();
}

void TimeSlider::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF whole(knob, (height() - line) / 2, width() - 2 * knob, line);
    overlay::paintGround(painter, whole, overlay::white(0.25), line / 2);
    QRectF filled = whole;
    filled.setWidth(whole.width() * value_);
    overlay::paintGround(painter, filled, overlay::white(0.93), line / 2);
    painter.setBrush(Qt::white);
    const double radius = isDragged_ || underMouse() ? knob : knob - 1.5;
    painter.drawEllipse(QPointF(filled.right(), height() / 2.0), radius, radius);
}

double TimeSlider::shareAt(double x) const {
    return std::clamp((x - knob) / std::max(width() - 2 * knob, 1.0), 0.0, 1.0);
}

void TimeSlider::moveTo(double value, Drag drag) {
    value_ = value;
    update();
    moved_(value, drag);
}

void TimeSlider::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) return event->ignore();
    isDragged_ = true;
    moveTo(shareAt(event->position().x()), Drag::moving);
}

void TimeSlider::mouseMoveEvent(QMouseEvent* event) {
    if (isDragged_) moveTo(shareAt(event->position().x()), Drag::moving);
}

void TimeSlider::mouseReleaseEvent(QMouseEvent* event) {
    if (!std::exchange(isDragged_, false)) return;
    moveTo(shareAt(event->position().x()), Drag::released);
}

void TimeSlider::wheelEvent(QWheelEvent* event) {
    constexpr double notch = 120;
    constexpr double step = 0.02;
    moveTo(std::clamp(value_ + event->angleDelta().y() / notch * step, 0.0, 1.0), Drag::released);
}

}  // namespace lumicrate::views
