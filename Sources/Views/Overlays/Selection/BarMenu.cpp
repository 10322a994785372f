// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/Overlays/Selection/BarMenu.h"

#include "Views/Overlays/BarButton.h"
#include "Views/Overlays/OverlayPanel.h"
#include "Views/Overlays/OverlayStyle.h"
#include "Views/Overlays/Selection/SelectionBar.h"
#include "Views/Widgets/Symbols.h"

#include <QAction>
#include <QFontMetrics>
#include <QPainter>
#include <QPainterPath>
#include <QProxyStyle>
#include <QScreen>
#include <QStyleOptionMenuItem>

namespace lumicrate::views {

namespace {

constexpr double menuCorner = 9;
constexpr int distanceFromBar = 5;
constexpr int margin = 5;
constexpr int itemHeight = 26;
constexpr int headingHeight = 25;
constexpr int headingSize = 11;
constexpr int lineHeight = 9;
constexpr int sideRoom = 9;
constexpr int checkSide = 13;
constexpr int itemIndent = sideRoom + checkSide + 6;
constexpr int trailing = 22;
constexpr double itemCorner = 5;
constexpr double disabledOpacity = 0.42;

QFont headingFont(const QFont& font) {
    return overlay::font(headingSize, QFont::DemiBold, font);
}

bool isSeparator(const QStyleOptionMenuItem& item) {
    return item.menuItemType == QStyleOptionMenuItem::Separator;
}

class BarMenuStyle final : public QProxyStyle {
 public:
    QSize sizeFromContents(ContentsType type, const QStyleOption* option, const QSize& contents,
                           const QWidget* widget) const override;
    int pixelMetric(PixelMetric metric, const QStyleOption* option, const QWidget* widget) const override;
    int styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                  QStyleHintReturn* returned) const override;
    void drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                       const QWidget* widget) const override;
    void drawControl(ControlElement element, const QStyleOption* option, QPainter* painter,
                     const QWidget* widget) const override;

 private:
    static void paintItem(const QStyleOptionMenuItem& item, QPainter& painter);
};

QSize BarMenuStyle::sizeFromContents(ContentsType type, const QStyleOption* option, const QSize& contents,
                                     const QWidget* widget) const {
    const auto* const item = qstyleoption_cast<const QStyleOptionMenuItem*>(option);
    if (type != CT_MenuItem || item == nullptr)
        return QProxyStyle::sizeFromContents(type, option, contents, widget);
    if (!isSeparator(*item)) return {itemIndent + contents.width() + trailing, itemHeight};
    if (item->text.isEmpty()) return {0, lineHeight};
    return {QFontMetrics(headingFont(item->font)).horizontalAdvance(item->text) + 2 * sideRoom,
            headingHeight};
}

int BarMenuStyle::pixelMetric(PixelMetric metric, const QStyleOption* option, const QWidget* widget) const {
    switch (metric) {
        case PM_MenuHMargin:
        case PM_MenuVMargin:
            return margin;
        case PM_MenuPanelWidth:
            return 0;
        default:
            return QProxyStyle::pixelMetric(metric, option, widget);
    }
}

int BarMenuStyle::styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                            QStyleHintReturn* returned) const {
    if (hint == SH_Menu_SupportsSections) return 1;
    if (hint == SH_Menu_AllowActiveAndDisabled) return 0;
    return QProxyStyle::styleHint(hint, option, widget, returned);
}

void BarMenuStyle::drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                                 const QWidget* widget) const {
    if (element == PE_FrameMenu) return;
    if (element != PE_PanelMenu) return QProxyStyle::drawPrimitive(element, option, painter, widget);
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    painter->fillRect(option->rect, overlay::opaqueGround);
    painter->setPen(QPen(overlay::opaqueEdge, 1));
    painter->drawRoundedRect(QRectF(option->rect).adjusted(0.5, 0.5, -0.5, -0.5), menuCorner - 0.5,
                             menuCorner - 0.5);
    painter->restore();
}

void BarMenuStyle::drawControl(ControlElement element, const QStyleOption* option, QPainter* painter,
                               const QWidget* widget) const {
    // The panel has painted the ground already.
    if (element == CE_MenuEmptyArea) return;
    const auto* const item = qstyleoption_cast<const QStyleOptionMenuItem*>(option);
    if (element != CE_MenuItem || item == nullptr)
        return QProxyStyle::drawControl(element, option, painter, widget);
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    paintItem(*item, *painter);
    painter->restore();
}

void BarMenuStyle::paintItem(const QStyleOptionMenuItem& item, QPainter& painter) {
    // Ampersands in the texts are doubled.
    constexpr int flags = Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine | Qt::TextHideMnemonic;
    const QRect& place = item.rect;
    const bool isMirrored = item.direction == Qt::RightToLeft;
    const auto textPlace = [&](int indent, int lowered) {
        return place.adjusted(isMirrored ? 0 : indent, lowered, isMirrored ? -indent : 0, 0);
    };
    if (isSeparator(item) && item.text.isEmpty()) {
        painter.fillRect(QRect(place.left() + sideRoom, place.center().y(), place.width() - 2 * sideRoom, 1),
                         overlay::opaqueEdge);
        return;
    }
    if (isSeparator(item)) {
        painter.setFont(headingFont(item.font));
        painter.setPen(overlay::control::faintText);
        painter.drawText(textPlace(sideRoom, 1), flags, item.text);
        return;
    }
    const bool enabled = item.state & State_Enabled;
    if (enabled && item.state & State_Selected)
        overlay::paintGround(painter, place, overlay::selection, itemCorner);
    const QColor color = enabled ? overlay::control::text : overlay::white(disabledOpacity);
    if (item.checked) {
        const double top = place.top() + (place.height() - checkSide) / 2.0;
        const double left = isMirrored ? place.right() + 1 - sideRoom - checkSide : place.left() + sideRoom;
        paintSymbol(painter, QRectF(left, top, checkSide, checkSide), "checkmark", color);
    }
    painter.setFont(item.font);
    painter.setPen(color);
    painter.drawText(textPlace(itemIndent, 0), flags, item.text);
}

QAction* checkedAction(const QMenu& menu) {
    for (QAction* each : menu.actions())
        if (each->isChecked()) return each;
    return nullptr;
}

}  // namespace

BarMenu::BarMenu(BarButton& button) : QMenu(&button), button_(button) {
    auto* const style = new BarMenuStyle;
    style->setParent(this);
    setStyle(style);
    setFont(overlay::controlFont(font()));
    connect(this, &QMenu::aboutToHide, &button, [&button] { button.setDown(false); });
}

void BarMenu::open() {
    setAccessibleName(button_.accessibleName());
    popup(position());
    // With the keyboard the selection starts at the present choice.
    if (button_.hasFocus()) setActiveAction(checkedAction(*this));
}

/// Aligned with the button's left edge, and outside of the bar so that it does not cover it.
QPoint BarMenu::position() const {
    const QWidget* const bar = SelectionBar::of(button_);
    const QRect button(button_.mapToGlobal(QPoint(0, 0)), button_.size());
    const QRect ground = bar ? QRect(bar->mapToGlobal(QPoint(0, 0)), bar->size()) : button;
    const QRect screen = button_.screen()->geometry();
    const QSize size = sizeHint();
    const int below = ground.bottom() + 1 + distanceFromBar;
    const int above = ground.top() - distanceFromBar - size.height();
    const bool goesAbove = below + size.height() > screen.bottom() + 1 && above >= screen.top();
    return {button.left(), goesAbove ? above : below};
}

void BarMenu::showEvent(QShowEvent* event) {
    QMenu::showEvent(event);
    updateShape();
}

void BarMenu::resizeEvent(QResizeEvent* event) {
    QMenu::resizeEvent(event);
    updateShape();
}

/// Cuts the corners off, so that they are round without a compositing manager too.
void BarMenu::updateShape() const {
    if (!windowHandle()) return;
    QPainterPath outline;
    outline.addRoundedRect(rect(), menuCorner, menuCorner);
    setPixelShape(*windowHandle(), pixelsOf(outline, size(), devicePixelRatioF()));
}

}  // namespace lumicrate::views
