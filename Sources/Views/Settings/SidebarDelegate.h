// SidebarDelegate: a symbol and a name a line, the chosen line on a rounded ground.
#pragma once

#include <QStyledItemDelegate>

namespace lumicrate::views {

class SidebarDelegate final : public QStyledItemDelegate {
 public:
    using QStyledItemDelegate::QStyledItemDelegate;

    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override;
    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;
};

}  // namespace lumicrate::views
