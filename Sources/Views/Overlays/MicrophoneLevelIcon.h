// SPDX-License-Identifier: GPL-3.0-or-later
// MicrophoneLevelIcon: a microphone symbol that fills from below with the sound level.
#pragma once

#include <QObject>
#include <QPixmap>
#include <QVariantAnimation>
#include <functional>

class QPainter;
class QRectF;

namespace lumicrate::views {

class MicrophoneLevelIcon final : public QObject {
 public:
    /// `changed` is called whenever the icon needs repainting.
    explicit MicrophoneLevelIcon(std::function<void()> changed);

    /// 0 … 1.
    void setLevel(float level);
    void setMuted(bool muted);
    void paint(QPainter& painter, const QRectF& square);

 private:
    double shownLevel() const;
    void render(double side, double ratio);

    std::function<void()> changed_;
    bool muted_ = false;
    float level_ = 0;
    QVariantAnimation movement_;
    // Cached, because the icon is painted many times per second.
    QPixmap empty_;
    QPixmap full_;
};

}  // namespace lumicrate::views
