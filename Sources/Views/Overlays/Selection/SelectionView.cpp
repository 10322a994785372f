#include "Views/Overlays/Selection/SelectionView.h"

#include "Views/Desktop/Coordinates.h"
#include "Views/Widgets/QtText.h"

#include <QCoreApplication>
#include <QEnterEvent>
#include <QEvent>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPaintEvent>
#include <QPainter>
#include <QPainterPath>
#include <QScreen>
#include <QStringList>
#include <utility>

namespace lumicrate::views {

namespace {

Qt::CursorShape shapeOf(const SelectionCursor& cursor) {
    switch (cursor.kind) {
        case SelectionCursor::Kind::crosshair:
            return Qt::CrossCursor;
        case SelectionCursor::Kind::openHand:
            return Qt::OpenHandCursor;
        case SelectionCursor::Kind::closedHand:
            return Qt::ClosedHandCursor;
        case SelectionCursor::Kind::resize:
            break;
    }
    switch (cursor.handle) {
        case Handle::top:
        case Handle::bottom:
            return Qt::SizeVerCursor;
        case Handle::left:
        case Handle::right:
            return Qt::SizeHorCursor;
        case Handle::topLeft:
        case Handle::bottomRight:
            return Qt::SizeFDiagCursor;
        case Handle::topRight:
        case Handle::bottomLeft:
            break;
    }
    return Qt::SizeBDiagCursor;
}

QString descriptionOf(const SelectionAppearance& seen) {
    QStringList lines;
    for (const auto& each : {seen.highlightLabel, seen.sizeLabel, seen.hint})
        if (each) lines += qtText(each->text);
    return lines.join(u'\n');
}

/// Of what comes to the panel: on a dense screen the toolkit rounds the place of the pointer on the last
/// pixels to beyond all that is in the panel.
bool isForSelection(const QEvent& ofPanel) {
    switch (ofPanel.type()) {
        case QEvent::MouseButtonPress:
        case QEvent::MouseButtonDblClick:
        case QEvent::MouseMove:
        case QEvent::MouseButtonRelease:
        case QEvent::Leave:
            return true;
        default:
            return false;
    }
}

Size likedSize(QWidget& bar) {
    bar.ensurePolished();
    const QSize size = bar.sizeHint();
    return {double(size.width()), double(size.height())};
}

}  // namespace

SelectionView::SelectionView(SelectionModel& view, QImage still, KeyTranslation keys,
                             std::unique_ptr<QWidget> toolbar, std::unique_ptr<QWidget> pickBar)
    : view_(view),
      keys_(std::move(keys)),
      pixels_(view.screen(), view.pixelScale()),
      painter_(std::move(still), view.pixelScale()),
      toolbar_(adopt(std::move(toolbar))),
      pickBar_(adopt(std::move(pickBar))) {
    setAccessibleName(localizedText("Selection"));
    setFocusPolicy(Qt::StrongFocus);
    setMouseTracking(true);
    // Each pixel that is painted is replaced, whatever was there.
    setAttribute(Qt::WA_OpaquePaintEvent);
    setFocus();
    tellBarSizes();
    showAppearance(*view_.appearance);
    appearance_ = view_.appearance.observe([this](const SelectionAppearance& seen) { showAppearance(seen); });
}

QWidget* SelectionView::adopt(std::unique_ptr<QWidget> bar) {
    bar->hide();
    bar->setParent(this);
    bar->installEventFilter(this);
    // What a bar does not want is nothing that the selection should get.
    bar->setAttribute(Qt::WA_NoMousePropagation);
    if (!bar->testAttribute(Qt::WA_SetCursor)) bar->setCursor(Qt::ArrowCursor);
    return bar.release();
}

QPainterPath SelectionView::silhouette() const {
    QPainterPath path;
    path.addRect(rect());
    return path;
}

// What is seen

void SelectionView::showAppearance(const SelectionAppearance& seen) {
    SelectionScene scene = layOut(seen, pixels_, painter_);
    const QRegion changed = changedPixels(scene_, scene, painter_);
    scene_ = std::move(scene);
    if (!changed.isEmpty()) update(pixels_.widgetRegion(changed));
    showCursor(shapeOf(seen.cursor));
    setAccessibleDescription(descriptionOf(seen));
    placeBarsSoon();
}

void SelectionView::showCursor(Qt::CursorShape shape) {
    for (QWidget* const each : {static_cast<QWidget*>(this), parentWidget()})
        if (each && each->cursor().shape() != shape) each->setCursor(shape);
}

/// Not at once: bars that come and go make the pointer enter and leave, which must not come back into the
/// view while it speaks. It still is before the next painting.
void SelectionView::placeBarsSoon() {
    if (std::exchange(barsAreDue_, true)) return;
    QMetaObject::invokeMethod(
        this, [this] { placeBars(); }, Qt::QueuedConnection);
}

void SelectionView::placeBars() {
    barsAreDue_ = false;
    const SelectionAppearance seen = *view_.appearance;
    const bool toolbarChanged = place(*toolbar_, seen.toolbar);
    const bool pickBarChanged = place(*pickBar_, seen.pickBar);
    if (!toolbarChanged && !pickBarChanged) return;
    // Of one that is hidden it is not heard when it becomes another size.
    tellBarSizes();
    if (!drags_ && isVisible()) tellPointer();
}

/// True when it has come or gone.
bool SelectionView::place(QWidget& bar, const std::optional<Rect>& frame) {
    const bool wasShown = !bar.isHidden();
    if (frame) {
        bar.setGeometry(pixels_.widgetFrame(*frame));
        bar.show();
    } else if (wasShown) {
        // Else the toolkit gives the keys to whatever comes next.
        if (QWidget* const focused = window()->focusWidget(); focused && bar.isAncestorOf(focused))
            setFocus();
        bar.hide();
    }
    return wasShown != frame.has_value();
}

void SelectionView::tellBarSizes() {
    view_.setToolbarSize(likedSize(*toolbar_));
    view_.setPickBarSize(likedSize(*pickBar_));
}

bool SelectionView::event(QEvent* event) {
    if (event->type() == QEvent::LayoutRequest) tellBarSizes();
    if (event->type() == QEvent::ParentChange && parentWidget()) {
        parentWidget()->setMouseTracking(true);
        parentWidget()->installEventFilter(this);
        showCursor(shapeOf(view_.appearance->cursor));
    }
    return OverlayWidget::event(event);
}

void SelectionView::showEvent(QShowEvent*) {
    setFocus();
    tellPointer();
}

void SelectionView::paintEvent(QPaintEvent* event) {
    QPainter painter(this);
    const double ratio = devicePixelRatio();
    painter.scale(1 / ratio, 1 / ratio);
    painter_.paint(painter, scene_, pixels_.pixelRegion(event->region()), isComposited());
}

// The pointer

/// The toolkit rounds an event's place on a widget to whole points, but not that on its window.
Point SelectionView::placeOf(const QSinglePointEvent& event) const {
    return pixels_.pointAt(event.scenePosition() - mapTo(window(), QPoint()));
}

SelectionModel::MouseEvent SelectionView::translated(const QMouseEvent& event, int clickCount) const {
    return {placeOf(event), clickCount, !event.modifiers().testFlag(Qt::ControlModifier)};
}

/// Where it is, whether or not it has moved.
void SelectionView::tellPointer() {
    const Coordinates desktop = Coordinates::now();
    const Rect screen = desktop.pointsFromPixels(QtScreen::of(*this->screen()).pixels());
    const Point at = desktop.pointOfPixel(pointerPixel());
    const Point inside{at.x - screen.x, at.y - screen.y};
    const QPoint onWidget(static_cast<int>(inside.x), static_cast<int>(view_.screen().height - inside.y));
    const bool isHere = screen.contains(at) && !childAt(onWidget);
    if (isHere) return view_.mouseMoved(inside);
    view_.mouseExited();
}

void SelectionView::mousePressEvent(QMouseEvent* event) {
    if (event->button() == Qt::RightButton) return view_.rightMouseDown();
    if (event->button() != Qt::LeftButton) return;
    setFocus();
    drags_ = true;
    view_.mouseDown(translated(*event, 1));
}

void SelectionView::mouseDoubleClickEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) return mousePressEvent(event);
    setFocus();
    drags_ = true;
    view_.mouseDown(translated(*event, 2));
}

void SelectionView::mouseMoveEvent(QMouseEvent* event) {
    if (drags_ && event->buttons().testFlag(Qt::LeftButton)) return view_.mouseDragged(translated(*event, 1));
    // Somebody else has had the release.
    if (std::exchange(drags_, false)) view_.mouseUp();
    view_.mouseMoved(placeOf(*event));
}

void SelectionView::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton || !std::exchange(drags_, false)) return;
    view_.mouseUp();
}

void SelectionView::enterEvent(QEnterEvent* event) {
    if (!drags_) view_.mouseMoved(placeOf(*event));
}

void SelectionView::leaveEvent(QEvent*) {
    if (!drags_) view_.mouseExited();
}

bool SelectionView::eventFilter(QObject* watched, QEvent* event) {
    if (watched == parentWidget()) return isForSelection(*event) && OverlayWidget::event(event);
    // What a bar covers is not pointed at.
    if (event->type() == QEvent::Enter && !drags_) view_.mouseExited();
    return OverlayWidget::eventFilter(watched, event);
}

// The keys

void SelectionView::keyPressEvent(QKeyEvent* event) {
    if (!view_.keyDown(keys_(*event))) OverlayWidget::keyPressEvent(event);
}

}  // namespace lumicrate::views
