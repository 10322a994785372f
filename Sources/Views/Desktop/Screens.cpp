// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/Desktop/Screens.h"

#include "Views/Desktop/Coordinates.h"

#include <QGuiApplication>
#include <QScreen>

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

}  // namespace

Screens::Screens(FindDisplay findDisplay) : findDisplay_(std::move(findDisplay)) {
    announcing_.setSingleShot(true);
    announcing_.setInterval(0);
    connect(&announcing_, &QTimer::timeout, this, [this] { changes_.notify(); });
    const auto announce = [this] { announcing_.start(); };
    connect(qGuiApp, &QGuiApplication::screenAdded, this, [this, announce](QScreen* screen) {
        follow(screen);
        announce();
    });
    connect(qGuiApp, &QGuiApplication::screenRemoved, this, announce);
    connect(qGuiApp, &QGuiApplication::primaryScreenChanged, this, announce);
    for (const QScreen* screen : QGuiApplication::screens())
        follow(screen);
}

void Screens::follow(const QScreen* screen) {
    const auto announce = [this] { announcing_.start(); };
    connect(screen, &QScreen::geometryChanged, this, announce);
    connect(screen, &QScreen::availableGeometryChanged, this, announce);
    connect(screen, &QScreen::logicalDotsPerInchChanged, this, announce);
}

std::vector<NSScreen> Screens::screens() const {
    const Coordinates coordinates = Coordinates::now();
    std::vector<NSScreen> all;
    for (const QScreen* screen : screensMainFirst()) {
        const std::string connector = screen->name().toStdString();
        const std::optional<SCDisplay> display = findDisplay_(connector);
        all.push_back({display ? std::optional(display->displayID) : std::nullopt,
                       coordinates.pointsFromPixels(QtScreen::of(*screen).pixels()),
                       coordinates.pointsFromPixels(availablePixels(*screen)), coordinates.scale(),
                       display ? display->localizedName : connector});
    }
    return all;
}

Point Screens::mouseLocation() const {
    return Coordinates::now().pointOfPixel(pointerPixel());
}

}  // namespace lumicrate::views
