// SPDX-License-Identifier: GPL-3.0-or-later
// SelectionView: the content of the panel that covers a screen while a window is picked or an area is drawn.
#pragma once

#include "Lumicrate/Overlays/Selection/SelectionModel.h"
#include "Views/Desktop/KeyMonitor.h"
#include "Views/Overlays/OverlayWidget.h"
#include "Views/Overlays/Selection/ScreenPixels.h"
#include "Views/Overlays/Selection/SelectionPainter.h"
#include "Views/Overlays/Selection/SelectionScene.h"

#include <QImage>
#include <memory>

class QSinglePointEvent;

namespace lumicrate::views {

/// Paints what the model describes and passes pointer and key events to it. With a compositing manager the
/// live screen shows through; without one a still picture is painted instead. Only what changes is repainted.
class SelectionView final : public OverlayWidget {
 public:
    /// `model` must outlive the view. `still` is a picture of the screen in its pixels, taken before the
    /// overlay covered it. If it is null, there is no magnifier, and the screen is blank without a
    /// compositing manager. If `isFrozen`, it is shown even with one. The model decides where the bars are
    /// shown.
    SelectionView(SelectionModel& model, QImage still, KeyTranslation keys, std::unique_ptr<QWidget> toolbar,
                  std::unique_ptr<QWidget> pickBar, bool isFrozen = false);

 protected:
    bool event(QEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

 private:
    QWidget* adopt(std::unique_ptr<QWidget> bar);
    void reportBarSizes();
    void showAppearance(const SelectionAppearance& seen);
    void showCursor(Qt::CursorShape shape);
    void schedulePlacing();
    void placeBars();
    bool place(QWidget& bar, const std::optional<Rect>& frame);
    void reportPointer();
    Point locationOf(const QSinglePointEvent& event) const;
    SelectionModel::MouseEvent translated(const QMouseEvent& event, int clickCount) const;

    SelectionModel& model_;
    KeyTranslation keys_;
    ScreenPixels pixels_;
    SelectionPainter painter_;
    SelectionScene scene_;
    QWidget* toolbar_;
    QWidget* pickBar_;
    QWidget* removeButton_;
    const bool isFrozen_;
    bool isDragging_ = false;
    bool isPlacingScheduled_ = false;
    Subscription appearance_;
};

}  // namespace lumicrate::views
