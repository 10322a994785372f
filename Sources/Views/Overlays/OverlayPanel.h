// SPDX-License-Identifier: GPL-3.0-or-later
// OverlayPanel: the kind of window that every overlay is.
#pragma once

#include "Platform/NSPanel.h"
#include "Support/Published.h"
#include "Views/Overlays/CompositionWatch.h"
#include "Views/Overlays/KeyboardFocus.h"

#include <QRegion>
#include <QWidget>
#include <memory>
#include <optional>
#include <vector>

class QPainterPath;
class QWindow;

namespace lumicrate::views {

class OverlayWidget;
class OverlayPanel;

/// The panels that are shown, stacked by their levels, and which of them has the keyboard.
class PanelStack {
 public:
    void bringToFront(OverlayPanel& panel);
    void remove(OverlayPanel& panel);
    KeyboardFocus& keyboard() { return keyboard_; }

 private:
    std::vector<OverlayPanel*> shown_;
    KeyboardFocus keyboard_;
};

/// A window that no window manager controls. It gets the keyboard only when it is made key. When a
/// compositing manager starts or stops, it switches between its translucent and its opaque form at once.
class OverlayPanel final : public QWidget, public NSPanel {
 public:
    /// `stack` and `composition` must outlive the panel.
    OverlayPanel(std::unique_ptr<OverlayWidget> content, Settings settings, PanelStack& stack,
                 const CompositionWatch& composition);
    ~OverlayPanel() override;

    void orderFrontRegardless() override;
    void makeKeyAndOrderFront() override;
    void orderOut() override;
    Rect frame() const override { return settings_.frame; }
    void setFrame(const Rect& frame) override;
    std::uint32_t windowNumber() const override;

    int level() const { return settings_.level; }

 protected:
    void hideEvent(QHideEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

 private:
    void applyFrame();
    void updateShape();

    Settings settings_;
    PanelStack& stack_;
    OverlayWidget* content_;
    /// From the pointer to the panel's origin, during a drag.
    std::optional<Point> grip_;
    Subscription composition_;
};

/// Shapes a window on the X server: it has pixels only in `shape` (its own pixels, y down), or everywhere
/// without one.
void setPixelShape(const QWindow& window, const std::optional<QRegion>& shape);
/// Lets the pointer through outside of `shape`.
void setInputShape(const QWindow& window, const QRegion& shape);
/// The pixels that a path in points covers, in a window of that size in points.
QRegion pixelsOf(const QPainterPath& path, const QSize& size, double scale);

}  // namespace lumicrate::views
