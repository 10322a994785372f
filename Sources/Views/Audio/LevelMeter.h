// SPDX-License-Identifier: GPL-3.0-or-later
// LevelMeter: a bar that shows a sound level and its recent peak.
#pragma once

#include "Lumicrate/Audio/MeterBallistics.h"
#include "Views/Widgets/Accessibility.h"

#include <QElapsedTimer>
#include <QTimer>
#include <QWidget>

namespace lumicrate::views {

/// Green, yellow from −12 dBFS and red from −4 dBFS on. It has no running timer while nothing moves.
class LevelMeter final : public QWidget, public AccessibleValue {
 public:
    enum class Look {
        bar,
        scale,  ///< with decibels below the bar
    };

    explicit LevelMeter(Look look, QWidget* parent = nullptr);

    /// 0 … 1, linear over −50 … 0 dBFS. The bar moves there.
    void setLevel(float level);
    /// A meter that is not live drops to 0 at once and, with a scale, is pale.
    void setLive(bool live);

    QSize sizeHint() const override;

    QAccessible::Role accessibleRole() const override { return QAccessible::ProgressBar; }
    /// In tenths, so that a screen reader is not notified of every movement.
    double accessibleValue() const override;
    QString accessibleValueText() const override;

 protected:
    void paintEvent(QPaintEvent* event) override;

 private:
    void advance();
    void paintBar(QPainter& painter) const;
    void paintScale(QPainter& painter) const;
    QRectF bar() const;
    std::chrono::nanoseconds now() const { return std::chrono::nanoseconds(clock_.nsecsElapsed()); }

    Look look_;
    bool live_ = false;
    MeterBallistics ballistics_;
    MeterBallistics::Reading shown_;
    QElapsedTimer clock_;
    QTimer next_;
};

}  // namespace lumicrate::views
