// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/Overlays/OverlayPanel.h"

#include "Support/Log.h"
#include "Views/Desktop/Coordinates.h"
#include "Views/Desktop/XcbConnection.h"
#include "Views/Overlays/OverlayWidget.h"

#include <xcb/shape.h>

#include <QBitmap>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QWindow>
#include <algorithm>
#include <cstdint>
#include <utility>

namespace lumicrate::views {

namespace {

void setRectangles(const QWindow& window, xcb_shape_kind_t kind, const QRegion& shape) {
    xcb_connection_t* const x = xcbConnection();
    if (!x) return;
    std::vector<xcb_rectangle_t> rectangles;
    for (const QRect& each : shape) {
        rectangles.push_back({static_cast<std::int16_t>(each.x()), static_cast<std::int16_t>(each.y()),
                              static_cast<std::uint16_t>(each.width()),
                              static_cast<std::uint16_t>(each.height())});
    }
    xcb_shape_rectangles(x, XCB_SHAPE_SO_SET, kind, XCB_CLIP_ORDERING_UNSORTED,
                         static_cast<xcb_window_t>(window.winId()), 0, 0,
                         static_cast<std::uint32_t>(rectangles.size()), rectangles.data());
    xcb_flush(x);
}

/// Whether the path is one rectangle, as addRect makes it.
bool isRectangle(const QPainterPath& path) {
    if (path.elementCount() != 5) return false;
    const QRectF all = path.boundingRect();
    const QPointF corners[] = {all.topLeft(), all.topRight(), all.bottomRight(), all.bottomLeft(),
                               all.topLeft()};
    for (int i = 0; i < 5; ++i)
        if (QPointF(path.elementAt(i)) != corners[i]) return false;
    return true;
}

Qt::WindowFlags flags(const NSPanel::Settings& settings) {
    Qt::WindowFlags flags = Qt::Window | Qt::FramelessWindowHint | Qt::BypassWindowManagerHint |
                            Qt::WindowStaysOnTopHint | Qt::NoDropShadowWindowHint;
    if (!settings.canBecomeKey) flags |= Qt::WindowDoesNotAcceptFocus;
    if (settings.ignoresMouseEvents) flags |= Qt::WindowTransparentForInput;
    return flags;
}

}  // namespace

void setPixelShape(const QWindow& window, const std::optional<QRegion>& shape) {
    if (shape) return setRectangles(window, XCB_SHAPE_SK_BOUNDING, *shape);
    xcb_connection_t* const x = xcbConnection();
    if (!x) return;
    xcb_shape_mask(x, XCB_SHAPE_SO_SET, XCB_SHAPE_SK_BOUNDING, static_cast<xcb_window_t>(window.winId()), 0,
                   0, XCB_NONE);
    xcb_flush(x);
}

void setInputShape(const QWindow& window, const QRegion& shape) {
    setRectangles(window, XCB_SHAPE_SK_INPUT, shape);
}

QRegion pixelsOf(const QPainterPath& path, const QSize& size, double scale) {
    const QSize pixels = (QSizeF(size) * scale).toSize();
    if (path.isEmpty() || pixels.isEmpty()) return {};
    // Drawing a bitmap of a whole screen would be slow.
    if (isRectangle(path)) {
        const QRectF all = path.boundingRect();
        const QPoint topLeft = (all.topLeft() * scale).toPoint();
        const QPoint bottomRight = (all.bottomRight() * scale).toPoint();
        return QRect(topLeft, bottomRight - QPoint(1, 1)) & QRect(QPoint(), pixels);
    }
    QBitmap mask(pixels);
    mask.clear();
    QPainter painter(&mask);
    painter.scale(scale, scale);
    painter.fillPath(path, Qt::color1);
    painter.end();
    return QRegion(mask);
}

void PanelStack::bringToFront(OverlayPanel& panel) {
    remove(panel);
    const auto above = std::find_if(shown_.begin(), shown_.end(), [&panel](const OverlayPanel* each) {
        return each->level() > panel.level();
    });
    for (auto each = shown_.insert(above, &panel); each != shown_.end(); ++each)
        (*each)->raise();
}

void PanelStack::remove(OverlayPanel& panel) {
    std::erase(shown_, &panel);
}

OverlayPanel::OverlayPanel(std::unique_ptr<OverlayWidget> content, Settings settings, PanelStack& stack,
                           const CompositionWatch& composition)
    : QWidget(nullptr, flags(settings)),
      settings_(std::move(settings)),
      stack_(stack),
      content_(content.release()) {
    setAttribute(Qt::WA_TranslucentBackground);
    setAttribute(Qt::WA_ShowWithoutActivating);
    setAttribute(Qt::WA_QuitOnClose, false);
    // A panel usually is not the active window.
    setAttribute(Qt::WA_AlwaysShowToolTips);
    // Keeps the compositing manager from adding a shadow or animations.
    setAttribute(Qt::WA_X11NetWmWindowTypeNotification);
    setAccessibleName(content_->accessibleName());
    content_->setParent(this);
    content_->setComposited(*composition.isActive());
    content_->setOnShapeChanged([this] { updateShape(); });
    applyFrame();
    winId();
    updateShape();
    log(LogArea::ui, "panel ", windowNumber(), ": ", width(), " × ", height(), " points, level ",
        settings_.level);
    composition_ = composition.isActive().observe([this](bool active) {
        content_->setComposited(active);
        updateShape();
    });
}

OverlayPanel::~OverlayPanel() {
    stack_.remove(*this);
    if (settings_.canBecomeKey) stack_.keyboard().release(*windowHandle());
    content_->setOnShapeChanged(nullptr);
}

void OverlayPanel::orderFrontRegardless() {
    show();
    stack_.bringToFront(*this);
    // Capture lists the windows over another connection, whose requests could overtake the panel's.
    syncXcb();
}

void OverlayPanel::makeKeyAndOrderFront() {
    orderFrontRegardless();
    if (settings_.canBecomeKey) stack_.keyboard().give(*windowHandle());
}

void OverlayPanel::setFrame(const Rect& frame) {
    settings_.frame = frame;
    applyFrame();
}

void OverlayPanel::orderOut() {
    stack_.remove(*this);
    hide();
}

std::uint32_t OverlayPanel::windowNumber() const {
    return static_cast<std::uint32_t>(internalWinId());
}

void OverlayPanel::applyFrame() {
    setGeometry(Coordinates::now().windowGeometry(settings_.frame).marginsAdded(content_->overhang()));
}

void OverlayPanel::hideEvent(QHideEvent*) {
    if (settings_.canBecomeKey) stack_.keyboard().release(*windowHandle());
}

void OverlayPanel::resizeEvent(QResizeEvent*) {
    content_->setGeometry(rect());
    updateShape();
}

void OverlayPanel::updateShape() {
    const QWindow* const window = windowHandle();
    if (!window) return;
    const double scale = devicePixelRatio();
    const auto visible = content_->isComposited() ? content_->paintedArea() : content_->silhouette();
    setPixelShape(*window, visible ? std::optional(pixelsOf(*visible, size(), scale)) : std::nullopt);
    if (settings_.ignoresMouseEvents) return;
    setInputShape(*window, pixelsOf(content_->touchArea(), size(), scale));
}

void OverlayPanel::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton || !settings_.onDrag) return;
    // The position of the event: the pointer may have moved on.
    const QPointF inside = event->position() - QPointF(content_->frameInside().topLeft());
    grip_ = Point{-inside.x(), inside.y() - settings_.frame.height};
}

void OverlayPanel::mouseMoveEvent(QMouseEvent*) {
    if (!grip_) return;
    const Point at = Coordinates::now().pointOfPixel(pointerPixel());
    settings_.onDrag({at.x + grip_->x, at.y + grip_->y});
}

void OverlayPanel::mouseReleaseEvent(QMouseEvent*) {
    grip_.reset();
}

}  // namespace lumicrate::views
