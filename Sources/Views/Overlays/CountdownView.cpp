// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/Overlays/CountdownView.h"

#include "Views/Overlays/OverlayStyle.h"
#include "Views/Widgets/Accessibility.h"
#include "Views/Widgets/QtText.h"

#include <QFontMetricsF>
#include <QPainter>

namespace lumicrate::views {

namespace {

constexpr double corner = 40;
constexpr double groundOpacity = 0.6;
constexpr int numberSize = 104;
constexpr int hintSize = 16;
constexpr double hintOpacity = 0.7;
constexpr double spacing = 4;
constexpr double travel = 24;  ///< how far a number moves when it appears or disappears
constexpr int changeMilliseconds = 300;

}  // namespace

CountdownView::CountdownView(const CountdownModel& model)
    : value_(*model.value), previous_(value_), hint_(qtText(model.cancelHint)) {
    setAccessibleRole(*this, QAccessible::StaticText);
    setAccessibleName(localizedText("Countdown"));
    setAccessibleDescription(QString::number(value_));
    change_.setStartValue(0.0);
    change_.setEndValue(1.0);
    change_.setDuration(changeMilliseconds);
    change_.setEasingCurve(QEasingCurve::OutCubic);
    connect(&change_, &QVariantAnimation::valueChanged, this, [this] { update(); });
    subscription_ = model.value.observe([this](int value) { change(value); });
}

void CountdownView::change(int value) {
    previous_ = value_;
    value_ = value;
    setAccessibleDescription(QString::number(value_));
    change_.stop();
    startMotion(change_);
}

QPainterPath CountdownView::silhouette() const {
    QPainterPath path;
    path.addRoundedRect(rect(), corner, corner);
    return path;
}

void CountdownView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    if (isComposited()) {
        painter.setRenderHint(QPainter::Antialiasing);
        painter.fillPath(silhouette(), overlay::black(groundOpacity));
    } else {
        overlay::paintPlate(painter, rect(), corner, false);
    }

    // Digits have no descenders: they look centred by their cap height.
    const QFontMetricsF metrics(overlay::font(numberSize, QFont::Bold));
    const QFontMetricsF hintMetrics(overlay::font(hintSize));
    const double gap = hint_.isEmpty() ? 0 : 5 * spacing;
    const double hintHeight = hint_.isEmpty() ? 0 : hintMetrics.height();
    const double top = (height() - metrics.capHeight() - gap - hintHeight) / 2;
    const QRectF place(0, top, width(), metrics.capHeight());

    const double progress =
        change_.state() == QVariantAnimation::Running ? change_.currentValue().toDouble() : 1;
    if (progress < 1) drawNumber(painter, place, previous_, -travel * progress, 1 - progress);
    drawNumber(painter, place, value_, travel * (1 - progress), progress);

    if (hint_.isEmpty()) return;
    painter.setFont(overlay::font(hintSize));
    painter.setPen(overlay::white(hintOpacity));
    painter.drawText(QRectF(0, place.bottom() + gap, width(), hintHeight), Qt::AlignCenter, hint_);
}

void CountdownView::drawNumber(QPainter& painter, const QRectF& place, int value, double shift,
                               double opacity) const {
    const QFont font = overlay::font(numberSize, QFont::Bold);
    const QString text = QString::number(value);
    const double left = place.center().x() - QFontMetricsF(font).horizontalAdvance(text) / 2;
    painter.setFont(font);
    painter.setPen(overlay::white(opacity));
    painter.drawText(QPointF(left, place.bottom() + shift), text);
}

}  // namespace lumicrate::views
