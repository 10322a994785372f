#include "Views/Overlays/BarButton.h"

#include "Views/Overlays/OverlayColors.h"
#include "Views/Widgets/QtText.h"
#include "Views/Widgets/Symbols.h"
#include "Views/Widgets/Theme.h"

#include <QEvent>
#include <QPainter>
#include <QPainterPath>

namespace lumicrate::views {

namespace {

constexpr int side = 28;
constexpr double corner = 7;
constexpr double hoverOpacity = 0.12;
constexpr double pressedOpacity = 0.22;
constexpr double disabledOpacity = 0.35;

}  // namespace

BarButton::BarButton(Icon icon, QWidget* parent) : QAbstractButton(parent), icon_(std::move(icon)) {
    setFocusPolicy(Qt::NoFocus);
    setAttribute(Qt::WA_Hover);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
}

void BarButton::setHelp(const std::string& help) {
    setAccessibleName(qtText(help));
    setToolTip(accessibleName());
}

void BarButton::setIconPainter(Icon icon) {
    icon_ = std::move(icon);
    update();
}

QSize BarButton::sizeHint() const {
    return {side, side};
}

QRectF BarButton::iconSquare() const {
    const double margin = (side - measure::symbol) / 2.0;
    return QRectF(rect()).adjusted(margin, margin, -margin, -margin);
}

bool BarButton::event(QEvent* event) {
    switch (event->type()) {
        case QEvent::ToolTip:
            tip(true);
            return true;
        case QEvent::Leave:
        case QEvent::MouseButtonPress:
        case QEvent::Hide:
            tip(false);
            break;
        default:
            break;
    }
    return QAbstractButton::event(event);
}

void BarButton::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const bool hovered = isEnabled() && underMouse();
    if (hovered || isDown()) {
        QPainterPath ground;
        ground.addRoundedRect(rect(), corner, corner);
        painter.fillPath(ground, overlay::white(isDown() ? pressedOpacity : hoverOpacity));
    }
    if (!isEnabled()) painter.setOpacity(disabledOpacity);
    icon_(painter, iconSquare());
}

BarButton::Icon barSymbol(std::string name, double opacity) {
    return [name = std::move(name), opacity](QPainter& painter, const QRectF& square) {
        paintSymbol(painter, square, name, overlay::white(opacity));
    };
}

}  // namespace lumicrate::views
