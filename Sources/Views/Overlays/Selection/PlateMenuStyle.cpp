#include "Views/Overlays/Selection/PlateMenuStyle.h"

#include "Views/Overlays/Selection/PlateParts.h"
#include "Views/Widgets/Symbols.h"

#include <QFontMetrics>
#include <QPainter>

namespace lumicrate::views {

namespace {

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
    QFont heading = plate::font(font, QFont::DemiBold);
    heading.setPixelSize(headingSize);
    return heading;
}

bool isSeparator(const QStyleOptionMenuItem& item) {
    return item.menuItemType == QStyleOptionMenuItem::Separator;
}

}  // namespace

QSize PlateMenuStyle::sizeFromContents(ContentsType type, const QStyleOption* option, const QSize& contents,
                                       const QWidget* widget) const {
    const auto* const item = qstyleoption_cast<const QStyleOptionMenuItem*>(option);
    if (type != CT_MenuItem || item == nullptr)
        return QProxyStyle::sizeFromContents(type, option, contents, widget);
    if (!isSeparator(*item)) return {itemIndent + contents.width() + trailing, itemHeight};
    if (item->text.isEmpty()) return {0, lineHeight};
    return {QFontMetrics(headingFont(item->font)).horizontalAdvance(item->text) + 2 * sideRoom,
            headingHeight};
}

int PlateMenuStyle::pixelMetric(PixelMetric metric, const QStyleOption* option, const QWidget* widget) const {
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

int PlateMenuStyle::styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                              QStyleHintReturn* returned) const {
    if (hint == SH_Menu_SupportsSections) return 1;
    if (hint == SH_Menu_AllowActiveAndDisabled) return 0;
    return QProxyStyle::styleHint(hint, option, widget, returned);
}

void PlateMenuStyle::drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                                   const QWidget* widget) const {
    if (element == PE_FrameMenu) return;
    if (element != PE_PanelMenu) return QProxyStyle::drawPrimitive(element, option, painter, widget);
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    painter->fillRect(option->rect, overlay::opaqueGround);
    painter->setPen(QPen(overlay::opaqueEdge, 1));
    painter->drawRoundedRect(QRectF(option->rect).adjusted(0.5, 0.5, -0.5, -0.5), corner - 0.5, corner - 0.5);
    painter->restore();
}

void PlateMenuStyle::drawControl(ControlElement element, const QStyleOption* option, QPainter* painter,
                                 const QWidget* widget) const {
    // The panel is the ground of all of it.
    if (element == CE_MenuEmptyArea) return;
    const auto* const item = qstyleoption_cast<const QStyleOptionMenuItem*>(option);
    if (element != CE_MenuItem || item == nullptr)
        return QProxyStyle::drawControl(element, option, painter, widget);
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    paintItem(*item, *painter);
    painter->restore();
}

void PlateMenuStyle::paintItem(const QStyleOptionMenuItem& item, QPainter& painter) {
    // Texts have their ampersands doubled.
    constexpr int flags = Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine | Qt::TextHideMnemonic;
    const QRect& place = item.rect;
    if (isSeparator(item) && item.text.isEmpty()) {
        painter.fillRect(QRect(place.left() + sideRoom, place.center().y(), place.width() - 2 * sideRoom, 1),
                         overlay::opaqueEdge);
        return;
    }
    if (isSeparator(item)) {
        painter.setFont(headingFont(item.font));
        painter.setPen(plate::faintText);
        painter.drawText(place.adjusted(sideRoom, 1, 0, 0), flags, item.text);
        return;
    }
    const bool enabled = item.state & State_Enabled;
    if (enabled && item.state & State_Selected) plate::paintGround(painter, place, overlay::blue, itemCorner);
    const QColor color = enabled ? plate::text : overlay::white(disabledOpacity);
    if (item.checked) {
        const double top = place.top() + (place.height() - checkSide) / 2.0;
        paintSymbol(painter, QRectF(place.left() + sideRoom, top, checkSide, checkSide), "checkmark", color);
    }
    painter.setFont(item.font);
    painter.setPen(color);
    painter.drawText(place.adjusted(itemIndent, 0, 0, 0), flags, item.text);
}

}  // namespace lumicrate::views
