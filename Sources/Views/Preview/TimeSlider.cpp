// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/Preview/TimeSlider.h"

#include "Views/Overlays/OverlayStyle.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QWheelEvent>
#include <algorithm>
#include <utility>

namespace lumicrate::views {

namespace {

constexpr double line = 4;
constexpr double knob = 6;  ///< radius
constexpr double wheelStep = 0.02;

}  // namespace

TimeSlider::TimeSlider(Handler moved, QWidget* parent) : QWidget(parent), moved_(std::move(moved)) {
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    setCursor(Qt::PointingHandCursor);
    setAttribute(Qt::WA_Hover);
    setFocusPolicy(Qt::TabFocus);
}

QSize TimeSlider::sizeHint() const {
    return {80, overlay::control::height};
}

void TimeSlider::setValue(double value) {
    if (isDragged_ || value == value_) return;
    const QString before = accessibleValueText();
    value_ = std::clamp(value, 0.0, 1.0);
    update();
    // The position of a player changes many times per second, its text rarely.
    if (accessibleValueText() != before) notifyValueChanged(*this);
}

void TimeSlider::setDescription(double maximum, std::function<QString(double value)> text) {
    maximum_ = maximum;
    text_ = std::move(text);
}

AccessibleValue::Range TimeSlider::accessibleRange() const {
    return {0, maximum_, maximum_ * (keyStep_ > 0 ? keyStep_ : wheelStep)};
}

QString TimeSlider::accessibleValueText() const {
    return text_ ? text_(accessibleValue()) : QString();
}

void TimeSlider::setAccessibleValue(double value) {
    if (maximum_ > 0) moveTo(value / maximum_, Drag::released);
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
    if (hasFocus()) overlay::paintFocus(painter, rect());
}

double TimeSlider::shareAt(double x) const {
    return std::clamp((x - knob) / std::max(width() - 2 * knob, 1.0), 0.0, 1.0);
}

void TimeSlider::moveTo(double value, Drag drag) {
    value_ = value;
    update();
    notifyValueChanged(*this);
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
    moveTo(std::clamp(value_ + event->angleDelta().y() / notch * wheelStep, 0.0, 1.0), Drag::released);
}

void TimeSlider::keyPressEvent(QKeyEvent* event) {
    const int key = event->key();
    const bool isUp = key == Qt::Key_Up || key == Qt::Key_Right;
    const bool isDown = key == Qt::Key_Down || key == Qt::Key_Left;
    if (keyStep_ == 0 || (!isUp && !isDown)) return event->ignore();
    moveTo(std::clamp(value_ + (isUp ? keyStep_ : -keyStep_), 0.0, 1.0), Drag::released);
}

}  // namespace lumicrate::views
