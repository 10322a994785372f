// SPDX-License-Identifier: GPL-3.0-or-later
// ScreenChoiceView: the content of the panel over a screen that can be chosen.
#pragma once

#include "Lumicrate/Overlays/Selection/ScreenChooser.h"
#include "Views/Overlays/OverlayWidget.h"

#include <QVariantAnimation>

namespace lumicrate::views {

/// Dims the screen, less so while the pointer is on it, and describes the screen in its middle. A click
/// anywhere chooses it. Without a compositing manager a still picture of the screen is dimmed instead.
class ScreenChoiceView final : public OverlayWidget {
 public:
    /// `model` must outlive it.
    explicit ScreenChoiceView(ScreenChoice& model);

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
    QVariantAnimation highlight_;  ///< from 0, dim, to 1, less dim and outlined
    bool isPressed_ = false;
};

}  // namespace lumicrate::views
