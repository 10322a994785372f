#include "Views/Overlays/WindowShape.h"

#include <xcb/shape.h>

#include <QBitmap>
#include <QGuiApplication>
#include <QPainter>
#include <QPainterPath>
#include <vector>

namespace lumicrate::views {

namespace {

void setRectangles(const QWindow& window, xcb_shape_kind_t kind, const QRegion& shape) {
    const auto* const x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    if (!x11) return;
    std::vector<xcb_rectangle_t> rectangles;
    for (const QRect& each : shape) {
        rectangles.push_back({static_cast<std::int16_t>(each.x()), static_cast<std::int16_t>(each.y()),
                              static_cast<std::uint16_t>(each.width()),
                              static_cast<std::uint16_t>(each.height())});
    }
    xcb_shape_rectangles(x11->connection(), XCB_SHAPE_SO_SET, kind, XCB_CLIP_ORDERING_UNSORTED,
                         static_cast<xcb_window_t>(window.winId()), 0, 0,
                         static_cast<std::uint32_t>(rectangles.size()), rectangles.data());
    xcb_flush(x11->connection());
}

/// One upright rectangle, as addRect makes it.
bool isRectangle(const QPainterPath& path) {
    if (path.elementCount() != 5) return false;
    const QRectF all = path.boundingRect();
    const QPointF corners[] = {all.topLeft(), all.topRight(), all.bottomRight(), all.bottomLeft(),
                               all.topLeft()};
    for (int i = 0; i < 5; ++i)
        if (QPointF(path.elementAt(i)) != corners[i]) return false;
    return true;
}

}  // namespace

void setPixelShape(const QWindow& window, const std::optional<QRegion>& shape) {
    if (shape) return setRectangles(window, XCB_SHAPE_SK_BOUNDING, *shape);
    const auto* const x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    if (!x11) return;
    xcb_shape_mask(x11->connection(), XCB_SHAPE_SO_SET, XCB_SHAPE_SK_BOUNDING,
                   static_cast<xcb_window_t>(window.winId()), 0, 0, XCB_NONE);
    xcb_flush(x11->connection());
}

void setInputShape(const QWindow& window, const QRegion& shape) {
    setRectangles(window, XCB_SHAPE_SK_INPUT, shape);
}

QRegion pixelsOf(const QPainterPath& path, const QSize& size, double scale) {
    const QSize pixels = (QSizeF(size) * scale).toSize();
    if (path.isEmpty() || pixels.isEmpty()) return {};
    // A bitmap of a whole screen takes long to make.
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

}  // namespace lumicrate::views
