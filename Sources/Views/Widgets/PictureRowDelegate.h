// SPDX-License-Identifier: GPL-3.0-or-later
// PictureRowDelegate: paints list rows with a picture on the left and two lines of text beside it.
#pragma once

#include "Views/Widgets/Theme.h"

#include <QImage>
#include <QStyledItemDelegate>

namespace lumicrate::views {

/// The display text is the upper line; the roles below hold the rest. All rows have the same height.
class PictureRowDelegate : public QStyledItemDelegate {
 public:
    enum Role {
        detail = Qt::UserRole,  ///< QString: the lower line
        picture,                ///< QImage; may be null
        symbol,                 ///< QString: name of the symbol shown without a picture
        marked,                 ///< bool: whether a dot precedes the upper line
        firstFreeRole,
    };

    using QStyledItemDelegate::QStyledItemDelegate;

    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;
    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override;

 protected:
    static constexpr int dot = 8;

    /// Width at the right end that texts leave free, points.
    virtual int reserved() const { return 0; }
    static QRect pictureRect(const QStyleOptionViewItem& option);
    QRect nameRect(const QStyleOptionViewItem& option) const;
    static QFont detailFont(const QStyleOptionViewItem& option);

 private:
    void paintPicture(QPainter& painter, const QStyleOptionViewItem& option, const QModelIndex& index,
                      const ThemeColors& theme) const;
    void paintTexts(QPainter& painter, const QStyleOptionViewItem& option, const QModelIndex& index,
                    const ThemeColors& theme) const;
};

}  // namespace lumicrate::views
