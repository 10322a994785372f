// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/Overlays/MicrophoneLevelIcon.h"

#include "Views/Overlays/OverlayStyle.h"
#include "Views/Widgets/Accessibility.h"
#include "Views/Widgets/Symbols.h"

#include <QPainter>
#include <QRectF>
#include <algorithm>
#include <cmath>
#include <utility>

namespace lumicrate::views {

namespace {

constexpr int movementMilliseconds = 80;
constexpr double opacity = 0.85;
constexpr double mutedOpacity = 0.5;
/// Smaller changes are not visible.
constexpr float minStep = 1.0F / 64;

QPixmap rendered(double side, double ratio, const char* name, const QColor& color) {
    const int pixels = static_cast<int>(std::lround(side * ratio));
    QPixmap picture(pixels, pixels);
    picture.setDevicePixelRatio(ratio);
    picture.fill(Qt::transparent);
    QPainter painter(&picture);
    paintSymbol(painter, QRectF(0, 0, side, side), name, color);
    return picture;
}

}  // namespace

MicrophoneLevelIcon::MicrophoneLevelIcon(std::function<void()> changed) : changed_(std::move(changed)) {
    movement_.setDuration(movementMilliseconds);
    connect(&movement_, &QVariantAnimation::valueChanged, this, [this] { changed_(); });
}

void MicrophoneLevelIcon::setLevel(float level) {
    level = std::clamp(level, 0.0F, 1.0F);
    if (level == level_ || (level > 0 && std::abs(level - level_) < minStep)) return;
    const double from = shownLevel();
    level_ = level;
    movement_.stop();
    if (muted_) return;
    movement_.setStartValue(from);
    movement_.setEndValue(double(level));
    startMotion(movement_);
}

void MicrophoneLevelIcon::setMuted(bool muted) {
    if (std::exchange(muted_, muted) == muted) return;
    movement_.stop();
    changed_();
}

double MicrophoneLevelIcon::shownLevel() const {
    return movement_.state() == QVariantAnimation::Running ? movement_.currentValue().toDouble()
                                                           : double(level_);
}

void MicrophoneLevelIcon::render(double side, double ratio) {
    if (!empty_.isNull() && empty_.devicePixelRatio() == ratio) return;
    empty_ = rendered(side, ratio, "mic.fill", overlay::white(opacity));
    full_ = rendered(side, ratio, "mic.fill", overlay::green);
}

void MicrophoneLevelIcon::paint(QPainter& painter, const QRectF& square) {
    if (muted_) {
        paintSymbol(painter, square, "mic.slash.fill", overlay::white(mutedOpacity));
        return;
    }
    render(square.height(), painter.device()->devicePixelRatio());
    const double filled = shownLevel() * square.height();
    painter.save();
    painter.setClipRect(square.adjusted(0, 0, 0, -filled));
    painter.drawPixmap(square.topLeft(), empty_);
    painter.setClipRect(square.adjusted(0, square.height() - filled, 0, 0));
    painter.drawPixmap(square.topLeft(), full_);
    painter.restore();
}

}  // namespace lumicrate::views
