// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/Overlays/BarButton.h"

#include "Views/Overlays/OverlayStyle.h"
#include "Views/Overlays/Selection/BarMenu.h"
#include "Views/Widgets/Menus.h"
#include "Views/Widgets/Symbols.h"
#include "Views/Widgets/Theme.h"

#include <QFontMetrics>
#include <QKeyEvent>
#include <QPainter>
#include <QStyle>
#include <algorithm>
#include <utility>

namespace lumicrate::views {

namespace {

constexpr int iconSide = 28;
constexpr double iconOpacity = 0.85;
constexpr double disabledOpacity = 0.35;
constexpr int symbolGap = 6;
constexpr int chevronGap = 5;
constexpr int narrowPadding = 4;

}  // namespace

BarButton::BarButton(Look look, QWidget* parent) : SymbolButton(parent), look_(look) {
    setFocusPolicy(look == Look::icon ? Qt::NoFocus : Qt::TabFocus);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
}

void BarButton::setWidestOf(const QStringList& texts) {
    texts_ = texts;
    updateGeometry();
}

void BarButton::setMenu(Items items) {
    items_ = std::move(items);
    menu_ = new BarMenu(*this);
    updateGeometry();
    connect(this, &QAbstractButton::pressed, this, [this] { openMenu(); });
}

void BarButton::openMenu() {
    fillMenu(*menu_, items_());
    setDown(true);
    menu_->open();
}

QFont BarButton::textFont() const {
    return overlay::controlFont(font(), look_ == Look::prominent ? QFont::DemiBold : QFont::Normal);
}

int BarButton::textWidth() const {
    const QFontMetrics metrics(textFont());
    int widest = text().isEmpty() ? 0 : metrics.horizontalAdvance(text());
    for (const QString& each : texts_)
        widest = std::max(widest, metrics.horizontalAdvance(each));
    return widest;
}

QSize BarButton::sizeHint() const {
    namespace control = overlay::control;
    if (look_ == Look::icon) return {iconSide, iconSide};
    if (look_ == Look::narrow) return {control::chevron + 2 * narrowPadding, control::height};
    const int text = textWidth();
    if (text == 0) return {control::height, control::height};
    const int before = symbolName().empty() ? 0 : measure::symbol + symbolGap;
    const int behind = menu_ ? chevronGap + control::chevron : 0;
    return {2 * control::padding + before + text + behind, control::height};
}

QColor BarButton::symbolColor() const {
    if (look_ == Look::icon) return overlay::white(iconOpacity);
    if (look_ == Look::prominent) return Qt::white;
    const bool isFaint = look_ == Look::narrow && !isHovered() && !isDown();
    return isFaint ? overlay::control::faintText : overlay::control::text;
}

QColor BarButton::groundColor() const {
    namespace control = overlay::control;
    if (look_ == Look::prominent) {
        return overlay::recordGround.darker(isDown() ? 130 : isHovered() ? 112 : 100);
    }
    if (isDown()) return control::pressed;
    if (look_ == Look::field) return isHovered() ? control::fieldHover : control::field;
    return isHovered() ? control::hover : QColor(Qt::transparent);
}

/// Centred vertically.
QRectF BarButton::square(double left, double side) const {
    const double x = isRightToLeft() ? width() - left - side : left;
    return {x, (height() - side) / 2, side, side};
}

void BarButton::paintIconAlone(QPainter& painter) const {
    const bool isNarrow = look_ == Look::narrow;
    const double side = isNarrow ? overlay::control::chevron : measure::symbol;
    const QRectF place = square((width() - side) / 2, side);
    if (icon_) return icon_(painter, place);
    paintSymbol(painter, place, isNarrow ? "chevron.down" : symbolName(), symbolColor());
}

void BarButton::paintRow(QPainter& painter) const {
    namespace control = overlay::control;
    int x = control::padding;
    if (!symbolName().empty()) {
        paintSymbol(painter, square(x, measure::symbol), symbolName(), symbolColor());
        x += measure::symbol + symbolGap;
    }
    painter.setFont(textFont());
    painter.setPen(look_ == Look::prominent ? QColor(Qt::white) : control::text);
    const QRect place = QStyle::visualRect(layoutDirection(), rect(), {x, 0, textWidth() + 1, height()});
    painter.drawText(place, Qt::AlignLeft | Qt::AlignVCenter, text());
    if (!menu_) return;
    paintSymbol(painter, square(width() - control::padding - control::chevron, control::chevron),
                "chevron.down", control::faintText);
}

void BarButton::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    // It is initially that of the application.
    painter.setLayoutDirection(layoutDirection());
    painter.setRenderHint(QPainter::Antialiasing);
    overlay::paintGround(painter, rect(), groundColor());
    if (!isEnabled()) painter.setOpacity(disabledOpacity);
    text().isEmpty() ? paintIconAlone(painter) : paintRow(painter);
    if (hasFocus())
        overlay::paintFocus(painter, rect(),
                            look_ == Look::prominent ? QColor(Qt::white) : overlay::control::focus);
}

bool BarButton::event(QEvent* event) {
    if (!onTip_) return SymbolButton::event(event);
    switch (event->type()) {
        case QEvent::ToolTip:
            onTip_(true);
            return true;
        case QEvent::Leave:
        case QEvent::MouseButtonPress:
        case QEvent::Hide:
            onTip_(false);
            break;
        default:
            break;
    }
    return SymbolButton::event(event);
}

void BarButton::keyPressEvent(QKeyEvent* event) {
    const int key = event->key();
    const bool isReturn = key == Qt::Key_Return || key == Qt::Key_Enter;
    // On some desktops Return presses buttons and arrows move among them. Here both belong to the selection.
    if (key == Qt::Key_Space || key == Qt::Key_Select) {
        SymbolButton::keyPressEvent(event);
    } else if (isReturn && pressedByReturn_) {
        if (!event->isAutoRepeat()) click();
    } else if (key == Qt::Key_Down && menu_) {
        openMenu();
    } else {
        event->ignore();
    }
}

QColor BarToggle::symbolColor() const {
    constexpr double offOpacity = 0.42;
    return isChecked() ? QColor(Qt::white) : overlay::white(offOpacity);
}

}  // namespace lumicrate::views
