// SelectionView: the content of the panel over one screen in which a window is picked or an area drawn.
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

/// Paints what the view says and hands it pointer and keys. With a compositing manager the live screen is
/// seen through it, else a still picture. Only what changes is painted anew.
class SelectionView final : public OverlayWidget {
 public:
    /// `view` must outlive it. `still` shows the screen in its pixels, as it was before; it may be null, and
    /// then there is no magnifier, and no screen to be seen without a compositing manager. The bars are shown
    /// where the view wants them.
    SelectionView(SelectionModel& view, QImage still, KeyTranslation keys, std::unique_ptr<QWidget> toolbar,
                  std::unique_ptr<QWidget> pickBar);

    QPainterPath silhouette() const override;

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
    void tellBarSizes();
    void showAppearance(const SelectionAppearance& seen);
    void showCursor(Qt::CursorShape shape);
    void placeBarsSoon();
    void placeBars();
    bool place(QWidget& bar, const std::optional<Rect>& frame);
    void tellPointer();
    Point placeOf(const QSinglePointEvent& event) const;
    SelectionModel::MouseEvent translated(const QMouseEvent& event, int clickCount) const;

    SelectionModel& view_;
    KeyTranslation keys_;
    ScreenPixels pixels_;
    SelectionPainter painter_;
    SelectionScene scene_;
    QWidget* toolbar_;
    QWidget* pickBar_;
    bool drags_ = false;
    bool barsAreDue_ = false;
    Subscription appearance_;
};

}  // namespace lumicrate::views
