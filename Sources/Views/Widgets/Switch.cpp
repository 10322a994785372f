// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/Widgets/Switch.h"

#include "Views/Widgets/Theme.h"

#include <QPainter>

namespace lumicrate::views {

namespace {

constexpr double focusRing = 2;  ///< margin around the track, points

}  // namespace

Switch::Switch(QWidget* parent) : QCheckBox(parent) {
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    setCursor(Qt::PointingHandCursor);
}

QSize Switch::sizeHint() const {
    const int height = qMax(fontMetrics().height() + 4, 20);
    return {height * 7 / 4 + 4, height + 4};
}

void Switch::paintEvent(QPaintEvent*) {
    const ThemeColors colors = ThemeColors::of(*this);
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF track =
        QRectF(rect()).adjusted(focusRing + 0.5, focusRing + 0.5, -focusRing - 0.5, -focusRing - 0.5);
    const double radius = track.height() / 2;

    if (hasFocus()) {
        painter.setPen(QPen(colors.accent, focusRing / 2 + 0.5));
        painter.setBrush(Qt::NoBrush);
        painter.drawRoundedRect(QRectF(rect()).adjusted(1, 1, -1, -1), radius + focusRing,
                                radius + focusRing);
    }
    // Off, the track has the secondary text colour, which contrasts with the card in both themes.
    QColor fill = isChecked() ? colors.accent : colors.secondary;
    if (!isEnabled()) fill.setAlphaF(0.4F);
    painter.setPen(Qt::NoPen);
    painter.setBrush(underMouse() && isEnabled() ? fill.lighter(108) : fill);
    painter.drawRoundedRect(track, radius, radius);

    const double knob = radius - 2.5;
    const bool atEnd = isChecked() != isRightToLeft();
    const QPointF center(atEnd ? track.right() - radius : track.left() + radius, track.center().y());
    painter.setBrush(Qt::white);
    painter.drawEllipse(center, knob, knob);
}

void Switch::enterEvent(QEnterEvent* event) {
    QCheckBox::enterEvent(event);
    update();
}

void Switch::leaveEvent(QEvent* event) {
    QCheckBox::leaveEvent(event);
    update();
}

}  // namespace lumicrate::views
