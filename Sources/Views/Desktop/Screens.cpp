// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/Desktop/Screens.h"

#include "Views/Desktop/Coordinates.h"

#include <QApplication>
#include <QScreen>
#include <QWidget>
#include <QWindow>

namespace lumicrate::views {

namespace {

/// The part of the screen that desktop panels leave free, pixels. Exact only for whole screens; other
/// rectangles carry Qt's rounding.
QRectF availablePixels(const QScreen& screen) {
    const QtScreen known = QtScreen::of(screen);
    const QRect whole = known.pixels();
    const QRect left = screen.availableGeometry();
    if (left == screen.geometry()) return whole;
    const QPointF origin = screen.geometry().topLeft();
    const QRectF scaled((left.topLeft() - origin) * known.ratio + origin, QSizeF(left.size()) * known.ratio);
    return scaled.intersected(whole);
}

/// Qt keeps the pixels of windows when the scale changes; their contents need the same number of points.
/// Panels are placed by their owners.
void rescaleWindows(double factor) {
    for (QWidget* const window : QApplication::topLevelWidgets()) {
        const bool isPlain = window->windowType() == Qt::Window || window->windowType() == Qt::Dialog;
        if (!isPlain || window->windowFlags().testFlag(Qt::BypassWindowManagerHint)) continue;
        QWindow* const handle = window->windowHandle();
        if (!handle || window->isMaximized() || window->isFullScreen()) continue;
        const QSize size =
            (QSizeF(handle->size()) * factor).toSize().boundedTo(window->screen()->availableSize());
        // The window manager has the limits in former points; only changed ones are sent again. Likewise the
        // pixels of a widget are renewed only after a change of its points.
        const QSize smallest = window->minimumSize();
        const QSize largest = window->maximumSize();
        window->setFixedSize(size + QSize(0, 1));
        window->repaint();
        window->setMinimumSize(smallest);
        window->setMaximumSize(largest);
        window->resize(size);
        window->update();
    }
}

}  // namespace

Screens::Screens(FindDisplay findDisplay)
    : findDisplay_(std::move(findDisplay)), scale_(Coordinates::now().scale()) {
    announcing_.setSingleShot(true);
    announcing_.setInterval(0);
    connect(&announcing_, &QTimer::timeout, this, [this] { announce(); });
    const auto soon = [this] { announcing_.start(); };
    connect(qGuiApp, &QGuiApplication::screenAdded, this, [this, soon](QScreen* screen) {
        follow(screen);
        soon();
    });
    connect(qGuiApp, &QGuiApplication::screenRemoved, this, soon);
    connect(qGuiApp, &QGuiApplication::primaryScreenChanged, this, soon);
    for (const QScreen* screen : QGuiApplication::screens())
        follow(screen);
}

void Screens::announce() {
    const double scale = Coordinates::now().scale();
    if (scale != scale_) rescaleWindows(scale / scale_);
    scale_ = scale;
    changes_.notify();
}

void Screens::follow(const QScreen* screen) {
    const auto soon = [this] { announcing_.start(); };
    connect(screen, &QScreen::geometryChanged, this, soon);
    connect(screen, &QScreen::availableGeometryChanged, this, soon);
    connect(screen, &QScreen::logicalDotsPerInchChanged, this, soon);
}

std::vector<NSScreen> Screens::screens() const {
    const Coordinates coordinates = Coordinates::now();
    std::vector<NSScreen> all;
    for (const QScreen* screen : screensMainFirst()) {
        const std::string connector = screen->name().toStdString();
        const QRect pixels = QtScreen::of(*screen).pixels();
        const double points = 1 / coordinates.scale();
        const std::optional<SCDisplay> display = findDisplay_(
            connector,
            {pixels.x() * points, pixels.y() * points, pixels.width() * points, pixels.height() * points});
        all.push_back({display ? std::optional(display->displayID) : std::nullopt,
                       coordinates.pointsFromPixels(pixels),
                       coordinates.pointsFromPixels(availablePixels(*screen)), coordinates.scale(),
                       display ? display->localizedName : connector});
    }
    return all;
}

Point Screens::mouseLocation() const {
    return Coordinates::now().pointOfPixel(pointerPixel());
}

}  // namespace lumicrate::views
