// MicrophoneLevelIcon: a microphone that fills from below with the level of its sound.
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
    /// `changed` is called whenever the icon is to be painted anew.
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
    // Painted many times a second.
    QPixmap empty_;
    QPixmap full_;
};

}  // namespace lumicrate::views
