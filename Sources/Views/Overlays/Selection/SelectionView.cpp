// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/Overlays/Selection/SelectionView.h"

#include "Views/Desktop/Coordinates.h"
#include "Views/Overlays/BarButton.h"
#include "Views/Widgets/Accessibility.h"
#include "Views/Widgets/QtText.h"

#include <QCoreApplication>
#include <QEnterEvent>
#include <QEvent>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPaintEvent>
#include <QPainter>
#include <QScreen>
#include <QStringList>
#include <algorithm>
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

QString descriptionOf(const SelectionAppearance& seen, double pixelScale) {
    QStringList lines;
    for (const auto& each : {seen.highlightLabel, seen.sizeLabel, seen.hint})
        if (each) lines += qtText(each->text);
    const auto chosen =
        std::find_if(seen.covers.begin(), seen.covers.end(), [](const auto& each) { return each.isChosen; });
    if (chosen != seen.covers.end())
        lines += qtText(localized("Cover {} of {}: {}", {std::to_string(chosen - seen.covers.begin() + 1),
                                                         std::to_string(seen.covers.size()),
                                                         formatPixels(chosen->rect.size(), pixelScale)}));
    return lines.join(u'\n');
}

/// Whether an event of the panel is meant for the selection. On a dense screen the toolkit rounds the
/// pointer's position on the last pixels to outside of the panel's content, and sends the event to the panel
/// itself.
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

std::unique_ptr<QWidget> makeRemoveButton(SelectionModel& model) {
    auto button = std::make_unique<BarButton>(BarButton::Look::prominent, nullptr);
    button->setObjectName(QStringLiteral("removeCover"));
    button->setSymbol("trash");
    button->setHelp(localized("Remove the cover (Del)"));
    // Queued: it disappears with the cover.
    QObject::connect(
        button.get(), &QAbstractButton::clicked, button.get(), [&model] { model.removeCover(); },
        Qt::QueuedConnection);
    return button;
}

Size preferredSize(QWidget& bar) {
    bar.ensurePolished();
    const QSize size = bar.sizeHint();
    return {double(size.width()), double(size.height())};
}

}  // namespace

SelectionView::SelectionView(SelectionModel& model, QImage still, KeyTranslation keys,
                             std::unique_ptr<QWidget> toolbar, std::unique_ptr<QWidget> pickBar,
                             bool isFrozen)
    : model_(model),
      keys_(std::move(keys)),
      pixels_(model.screen(), model.pixelScale()),
      painter_(std::move(still), model.pixelScale()),
      toolbar_(adopt(std::move(toolbar))),
      pickBar_(adopt(std::move(pickBar))),
      removeButton_(adopt(makeRemoveButton(model))),
      isFrozen_(isFrozen) {
    setAccessibleRole(*this, QAccessible::Canvas);
    setAccessibleName(localizedText("Selection"));
    setFocusPolicy(Qt::StrongFocus);
    setMouseTracking(true);
    // Painting replaces every pixel.
    setAttribute(Qt::WA_OpaquePaintEvent);
    setFocus();
    reportBarSizes();
    showAppearance(*model_.appearance);
    appearance_ =
        model_.appearance.observe([this](const SelectionAppearance& seen) { showAppearance(seen); });
}

QWidget* SelectionView::adopt(std::unique_ptr<QWidget> bar) {
    bar->hide();
    bar->setParent(this);
    bar->installEventFilter(this);
    // The selection must not get events that a bar ignores.
    bar->setAttribute(Qt::WA_NoMousePropagation);
    bar->setCursor(Qt::ArrowCursor);
    return bar.release();
}

// Appearance

void SelectionView::showAppearance(const SelectionAppearance& seen) {
    SelectionScene scene = layOut(seen, pixels_, painter_);
    const QRegion changed = changedPixels(scene_, scene, painter_);
    scene_ = std::move(scene);
    if (!changed.isEmpty()) update(pixels_.widgetRegion(changed));
    showCursor(shapeOf(seen.cursor));
    setAccessibleDescription(descriptionOf(seen, model_.pixelScale()));
    schedulePlacing();
}

void SelectionView::showCursor(Qt::CursorShape shape) {
    for (QWidget* const each : {static_cast<QWidget*>(this), parentWidget()})
        if (each && each->cursor().shape() != shape) each->setCursor(shape);
}

/// Queued: showing and hiding bars causes enter and leave events, which must not call the model while it is
/// notifying its observers. The call still runs before the next repaint.
void SelectionView::schedulePlacing() {
    if (std::exchange(isPlacingScheduled_, true)) return;
    QMetaObject::invokeMethod(
        this, [this] { placeBars(); }, Qt::QueuedConnection);
}

void SelectionView::placeBars() {
    isPlacingScheduled_ = false;
    const SelectionAppearance seen = *model_.appearance;
    const bool toolbarChanged = place(*toolbar_, seen.toolbar);
    const bool pickBarChanged = place(*pickBar_, seen.pickBar);
    const bool removeButtonChanged = place(*removeButton_, seen.removeButton);
    if (!toolbarChanged && !pickBarChanged && !removeButtonChanged) return;
    // Hidden bars do not report size changes.
    reportBarSizes();
    if (!isDragging_ && isVisible()) reportPointer();
}

/// Returns whether the bar was shown or hidden.
bool SelectionView::place(QWidget& bar, const std::optional<Rect>& frame) {
    const bool wasShown = !bar.isHidden();
    if (frame) {
        bar.setGeometry(pixels_.widgetFrame(*frame));
        bar.show();
    } else if (wasShown) {
        // Otherwise the toolkit would move the focus to the next widget.
        QWidget* const focused = window()->focusWidget();
        if (focused && (focused == &bar || bar.isAncestorOf(focused))) setFocus();
        bar.hide();
    }
    return wasShown != frame.has_value();
}

void SelectionView::reportBarSizes() {
    model_.setBarSizes(preferredSize(*toolbar_), preferredSize(*pickBar_));
    model_.setRemoveButtonSize(preferredSize(*removeButton_));
}

bool SelectionView::event(QEvent* event) {
    if (event->type() == QEvent::LayoutRequest) reportBarSizes();
    if (event->type() == QEvent::ParentChange && parentWidget()) {
        parentWidget()->setMouseTracking(true);
        parentWidget()->installEventFilter(this);
        showCursor(shapeOf(model_.appearance->cursor));
    }
    return OverlayWidget::event(event);
}

void SelectionView::showEvent(QShowEvent*) {
    setFocus();
    reportPointer();
}

void SelectionView::paintEvent(QPaintEvent* event) {
    QPainter painter(this);
    const double ratio = devicePixelRatio();
    painter.scale(1 / ratio, 1 / ratio);
    painter_.paint(painter, scene_, pixels_.pixelRegion(event->region()), isComposited() && !isFrozen_);
}

// The pointer

/// The toolkit rounds an event's position within a widget to whole points, but not its position in the
/// window.
Point SelectionView::locationOf(const QSinglePointEvent& event) const {
    return pixels_.pointAt(event.scenePosition() - mapTo(window(), QPoint()));
}

SelectionModel::MouseEvent SelectionView::translated(const QMouseEvent& event, int clickCount) const {
    return {locationOf(event), clickCount, !event.modifiers().testFlag(Qt::ControlModifier)};
}

/// Reports the pointer's present position, without waiting for it to move.
void SelectionView::reportPointer() {
    const Coordinates desktop = Coordinates::now();
    const Rect screen = desktop.pointsFromPixels(QtScreen::of(*this->screen()).pixels());
    const Point at = desktop.pointOfPixel(pointerPixel());
    const Point inside{at.x - screen.x, at.y - screen.y};
    const QPoint onWidget(static_cast<int>(inside.x), static_cast<int>(model_.screen().height - inside.y));
    const bool isHere = screen.contains(at) && !childAt(onWidget);
    if (isHere) return model_.mouseMoved(inside);
    model_.mouseExited();
}

void SelectionView::mousePressEvent(QMouseEvent* event) {
    if (event->button() == Qt::RightButton) return model_.rightMouseDown();
    if (event->button() != Qt::LeftButton) return;
    setFocus();
    isDragging_ = true;
    model_.mouseDown(translated(*event, event->type() == QEvent::MouseButtonDblClick ? 2 : 1));
}

void SelectionView::mouseDoubleClickEvent(QMouseEvent* event) {
    mousePressEvent(event);
}

void SelectionView::mouseMoveEvent(QMouseEvent* event) {
    if (isDragging_ && event->buttons().testFlag(Qt::LeftButton))
        return model_.mouseDragged(translated(*event, 1));
    // Another window got the release event.
    if (std::exchange(isDragging_, false)) model_.mouseUp();
    model_.mouseMoved(locationOf(*event));
}

void SelectionView::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton || !std::exchange(isDragging_, false)) return;
    model_.mouseUp();
}

void SelectionView::enterEvent(QEnterEvent* event) {
    if (!isDragging_) model_.mouseMoved(locationOf(*event));
}

void SelectionView::leaveEvent(QEvent*) {
    if (!isDragging_) model_.mouseExited();
}

bool SelectionView::eventFilter(QObject* watched, QEvent* event) {
    if (watched == parentWidget()) return isForSelection(*event) && OverlayWidget::event(event);
    // The pointer is on a bar, not on what the bar covers.
    if (event->type() == QEvent::Enter && !isDragging_) model_.mouseExited();
    return OverlayWidget::eventFilter(watched, event);
}

// Keys

void SelectionView::keyPressEvent(QKeyEvent* event) {
    if (!model_.keyDown(keys_(*event))) OverlayWidget::keyPressEvent(event);
}

}  // namespace lumicrate::views
