#include "Views/Settings/SidebarDelegate.h"

#include "Views/Widgets/Theme.h"

#include <QIcon>
#include <QPainter>

namespace lumicrate::views {

void SidebarDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option,
                            const QModelIndex& index) const {
    const ThemeColors colors = ThemeColors::of(*option.widget);
    const bool chosen = option.state.testFlag(QStyle::State_Selected);
    const bool focused = option.state.testFlag(QStyle::State_HasFocus);
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setPen(Qt::NoPen);
    painter->setBrush(chosen && focused                                          ? colors.accent
                      : chosen || option.state.testFlag(QStyle::State_MouseOver) ? colors.cardHover
                                                                                 : QColor(Qt::transparent));
    const QRect line = option.rect.adjusted(0, 1, 0, -1);
    painter->drawRoundedRect(line, measure::corner - 2, measure::corner - 2);

    QRect symbolSquare(0, 0, measure::symbol, measure::symbol);
    const int inset = measure::gap;
    const bool mirrored = option.direction == Qt::RightToLeft;
    symbolSquare.moveCenter(line.center());
    if (mirrored) {
        symbolSquare.moveRight(line.right() - inset);
    } else {
        symbolSquare.moveLeft(line.left() + inset);
    }
    index.data(Qt::DecorationRole)
        .value<QIcon>()
        .paint(painter, symbolSquare, Qt::AlignCenter, chosen && focused ? QIcon::Selected : QIcon::Normal);

    const int beside = inset + measure::symbol + measure::gap;
    painter->setPen(
        option.palette.color(chosen && focused ? QPalette::HighlightedText : QPalette::WindowText));
    painter->setFont(option.font);
    painter->drawText(line.adjusted(mirrored ? inset : beside, 0, mirrored ? -beside : -inset, 0),
                      Qt::AlignVCenter | (mirrored ? Qt::AlignRight : Qt::AlignLeft),
                      index.data().toString());
    painter->restore();
}

QSize SidebarDelegate::sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const {
    const int text = option.fontMetrics.horizontalAdvance(index.data().toString());
    return {text + measure::symbol + 4 * measure::gap,
            qMax(option.fontMetrics.height(), measure::symbol) + 2 * measure::gap};
}

}  // namespace lumicrate::views
