// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/Audio/LevelMeter.h"

#include "Views/Overlays/OverlayStyle.h"
#include "Views/Widgets/Theme.h"

#include <QLinearGradient>
#include <algorithm>
#include <cmath>
#include <utility>

namespace lumicrate::views {

namespace {

using namespace std::chrono_literals;

constexpr auto frame = 33ms;
constexpr int thickness = 6;
constexpr int scaledThickness = 10;
constexpr double peakWidth = 2;
constexpr int labelSize = 10;
constexpr int labelGap = 3;
constexpr int tickHeight = 3;
constexpr double paleOpacity = 0.45;

/// The position of a level on the meter, 0 … 1.
constexpr double position(double decibels) {
    return (decibels + 50) / 50;
}

QBrush colors(const QRectF& bar) {
    // Steep, but not so steep that the border looks frayed.
    constexpr double transition = 0.02;
    QLinearGradient gradient(bar.topLeft(), bar.topRight());
    gradient.setColorAt(0, overlay::green);
    gradient.setColorAt(position(-12) - transition, overlay::green);
    gradient.setColorAt(position(-12) + transition, overlay::yellow);
    gradient.setColorAt(position(-4) - transition, overlay::yellow);
    gradient.setColorAt(position(-4) + transition, overlay::red);
    return gradient;
}

}  // namespace

LevelMeter::LevelMeter(Look look, QWidget* parent) : QWidget(parent), look_(look) {
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    clock_.start();
    next_.setSingleShot(true);
    next_.setTimerType(Qt::PreciseTimer);
    connect(&next_, &QTimer::timeout, this, [this] { advance(); });
}

void LevelMeter::setLevel(float level) {
    if (!live_) return;
    ballistics_.setLevel(level, now());
    advance();
}

void LevelMeter::setLive(bool live) {
    if (std::exchange(live_, live) == live) return;
    ballistics_.reset();
    advance();
    update();
}

void LevelMeter::advance() {
    const std::chrono::nanoseconds instant = now();
    const MeterBallistics::Reading reading = ballistics_.at(instant);
    const double before = accessibleValue();
    if (std::exchange(shown_, reading) != reading) update();
    if (accessibleValue() != before) notifyValueChanged(*this);
    const auto rest = ballistics_.restsFor(instant);
    if (!rest) return next_.stop();
    next_.start(std::max(frame, std::chrono::ceil<std::chrono::milliseconds>(*rest)));
}

double LevelMeter::accessibleValue() const {
    return std::round(shown_.level * 10) / 10;
}

QString LevelMeter::accessibleValueText() const {
    return QStringLiteral("%1%").arg(std::lround(accessibleValue() * 100));
}

QSize LevelMeter::sizeHint() const {
    if (look_ == Look::bar) return {120, thickness};
    return {240, scaledThickness + labelGap + tickHeight + labelSize + 2};
}

QRectF LevelMeter::bar() const {
    if (look_ == Look::scale) return {0, 0, double(width()), scaledThickness};
    return {0, (height() - thickness) / 2.0, double(width()), thickness};
}

void LevelMeter::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    if (look_ == Look::scale) {
        if (!live_) painter.setOpacity(paleOpacity);
        paintScale(painter);
    }
    paintBar(painter);
}

void LevelMeter::paintBar(QPainter& painter) const {
    const QRectF whole = bar();
    QPainterPath outline;
    outline.addRoundedRect(whole, whole.height() / 2, whole.height() / 2);
    painter.fillPath(outline, ThemeColors::of(*this).separator);
    if (shown_.peak <= 0) return;
    painter.setClipPath(outline);
    QRectF lit = whole;
    lit.setWidth(whole.width() * shown_.level);
    painter.fillRect(lit, colors(whole));
    const double peak = whole.left() + std::max(whole.width() * shown_.peak - peakWidth, 0.0);
    painter.fillRect(QRectF(peak, whole.top(), peakWidth, whole.height()), colors(whole));
}

void LevelMeter::paintScale(QPainter& painter) const {
    const QRectF whole = bar();
    painter.setFont(overlay::font(labelSize, QFont::Normal, font()));
    painter.setPen(ThemeColors::of(*this).secondary);
    // The level rises from left to right in all languages.
    painter.setLayoutDirection(Qt::LeftToRight);
    constexpr double labelWidth = 40;
    for (int decibels = -40; decibels <= 0; decibels += 10) {
        const double x = whole.left() + position(decibels) * whole.width();
        const bool isLast = decibels == 0;
        painter.fillRect(QRectF(isLast ? x - 1 : x - 0.5, whole.bottom() + labelGap, 1, tickHeight),
                         painter.pen().color());
        const QString text = isLast ? QStringLiteral("0 dB") : QStringLiteral("−%1").arg(-decibels);
        const QRectF place(isLast ? x - labelWidth : x - labelWidth / 2,
                           whole.bottom() + labelGap + tickHeight, labelWidth, labelSize + 2);
        painter.drawText(place, (isLast ? Qt::AlignRight : Qt::AlignHCenter) | Qt::AlignVCenter, text);
    }
}

}  // namespace lumicrate::views
