// OverlayPanel: the one window recipe of all overlays.
#pragma once

#include "Platform/NSPanel.h"
#include "Support/Published.h"
#include "Views/Overlays/CompositionWatch.h"
#include "Views/Overlays/KeyboardFocus.h"

#include <QWidget>
#include <memory>
#include <optional>
#include <vector>

namespace lumicrate::views {

class OverlayWidget;
class OverlayPanel;

/// The panels on the screen, so that they lie over each other by their levels, and which has the keys.
class PanelStack {
 public:
    void bringToFront(OverlayPanel& panel);
    void remove(OverlayPanel& panel);
    KeyboardFocus& keyboard() { return keyboard_; }

 private:
    std::vector<OverlayPanel*> shown_;
    KeyboardFocus keyboard_;
};

/// A window that no window manager touches and that gets the keys only when it is made key. It changes over
/// at once when a compositing manager comes or goes.
class OverlayPanel final : public QWidget, public NSPanel {
 public:
    /// `stack` and `composition` must outlive the panel.
    OverlayPanel(std::unique_ptr<OverlayWidget> content, Settings settings, PanelStack& stack,
                 const CompositionWatch& composition);
    ~OverlayPanel() override;

    void orderFrontRegardless() override;
    void makeKeyAndOrderFront() override;
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
    void place();
    void cutOut();

    Settings settings_;
    PanelStack& stack_;
    OverlayWidget* content_;
    /// From the pointer to the origin, while it is dragged.
    std::optional<Point> grip_;
    Subscription composition_;
};

}  // namespace lumicrate::views
