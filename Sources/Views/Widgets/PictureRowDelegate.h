// PictureRowDelegate: rows of a list with a picture on the left and two lines of text beside it.
#pragma once

#include "Views/Widgets/Theme.h"

#include <QImage>
#include <QStyledItemDelegate>

namespace lumicrate::views {

/// Draws items whose display text is the upper line, with what else they have under these roles. All rows are
/// of one height.
class PictureRowDelegate : public QStyledItemDelegate {
 public:
    enum Role {
        detail = Qt::UserRole,  ///< QString: the lower line
        picture,                ///< QImage; null for none
        symbol,                 ///< QString: its name; shown where there is no picture
        marked,                 ///< bool: a dot before the upper line
        firstFreeRole,
    };

    using QStyledItemDelegate::QStyledItemDelegate;

    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;
    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override;

 protected:
    static constexpr int dot = 8;

    /// Room at the right end that texts leave free.
    virtual int reserved(const QStyleOptionViewItem& option) const;
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
