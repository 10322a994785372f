// ScreenChoiceView: what lies over a screen that can be chosen.
#pragma once

#include "Lumicrate/Overlays/Selection/ScreenChooser.h"
#include "Views/Overlays/OverlayWidget.h"

#include <QVariantAnimation>

namespace lumicrate::views {

/// Darkens the screen, less where the pointer is, and says in its middle which one it is. A click anywhere
/// chooses it. Where nothing shines through, it darkens the picture of the screen instead.
class ScreenChoiceView final : public OverlayWidget {
 public:
    /// `model` must outlive it.
    explicit ScreenChoiceView(ScreenChoice& model);

    QPainterPath silhouette() const override;

 protected:
    void paintEvent(QPaintEvent* event) override;
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

 private:
    class Group;

    void highlight(bool wanted);
    void paintBackdrop(QPainter& painter) const;

    ScreenChoice& model_;
    QVariantAnimation highlight_;  ///< 0, dark and plain, to 1, light and outlined
    bool isPressed_ = false;
};

}  // namespace lumicrate::views
