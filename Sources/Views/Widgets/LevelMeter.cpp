// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/Widgets/LevelMeter.h"

#include "Views/Widgets/Theme.h"

#include <QPainter>
#include <algorithm>

namespace lumicrate::views {

namespace {

/// Sound above this level is close to clipping.
constexpr float nearClipping = 0.92F;
constexpr int thickness = 6;

}  // namespace

LevelMeter::LevelMeter(QWidget* parent) : QWidget(parent) {
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

void LevelMeter::setLevel(float level) {
    const float bounded = std::clamp(level, 0.0F, 1.0F);
    if (bounded == level_) return;
    level_ = bounded;
    update();
}

QSize LevelMeter::sizeHint() const {
    return {120, thickness};
}

void LevelMeter::paintEvent(QPaintEvent*) {
    const ThemeColors theme = ThemeColors::of(*this);
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    QRectF bar(0, (height() - thickness) / 2.0, width(), thickness);
    painter.setBrush(theme.separator);
    painter.drawRoundedRect(bar, thickness / 2.0, thickness / 2.0);
    if (level_ <= 0) return;
    bar.setWidth(std::max<double>(thickness, bar.width() * level_));
    painter.setBrush(level_ >= nearClipping ? theme.record : theme.accent);
    painter.drawRoundedRect(bar, thickness / 2.0, thickness / 2.0);
}

}  // namespace lumicrate::views
