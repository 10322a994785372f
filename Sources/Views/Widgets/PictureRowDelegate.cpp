// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/Widgets/PictureRowDelegate.h"

#include "Views/Widgets/Symbols.h"

#include <QPainter>
#include <QPainterPath>
#include <QWidget>
#include <algorithm>

namespace lumicrate::views {

namespace {

constexpr int pictureWidth = 96;
constexpr int pictureHeight = 54;
constexpr int padding = 8;
constexpr int pictureCorner = 5;
constexpr int pictureSymbol = 24;

}  // namespace

QFont PictureRowDelegate::detailFont(const QStyleOptionViewItem& option) {
    QFont font = option.font;
    font.setPointSizeF(font.pointSizeF() * 0.92);
    return font;
}

QSize PictureRowDelegate::sizeHint(const QStyleOptionViewItem& option, const QModelIndex&) const {
    const int lines = QFontMetrics(option.font).height() + QFontMetrics(detailFont(option)).height();
    return {pictureWidth + 2 * padding, std::max(pictureHeight, lines + 4) + 2 * padding};
}

QRect PictureRowDelegate::pictureRect(const QStyleOptionViewItem& option) {
    const QRect& row = option.rect;
    const QRect place(row.left() + padding, row.top() + (row.height() - pictureHeight) / 2, pictureWidth,
                      pictureHeight);
    return QStyle::visualRect(option.direction, row, place);
}

QRect PictureRowDelegate::nameRect(const QStyleOptionViewItem& option) const {
    const int height = QFontMetrics(option.font).height();
    const int lines = height + 3 + QFontMetrics(detailFont(option)).height();
    const QRect& row = option.rect;
    const int left = row.left() + padding + pictureWidth + padding + 4;
    const QRect place(left, row.top() + (row.height() - lines) / 2, row.right() - padding - reserved() - left,
                      height);
    return QStyle::visualRect(option.direction, row, place);
}

void PictureRowDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option,
                               const QModelIndex& index) const {
    if (option.widget == nullptr) return;
    const ThemeColors theme = ThemeColors::of(*option.widget);
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setRenderHint(QPainter::SmoothPixmapTransform);
    const QRectF ground = QRectF(option.rect).adjusted(1, 1, -1, -1);
    if (option.state & QStyle::State_Selected) {
        painter->setBrush(faded(theme.accent, option.state & QStyle::State_Active ? 0.18 : 0.1));
    } else {
        painter->setBrush(option.state & QStyle::State_MouseOver ? theme.cardHover : Qt::transparent);
    }
    painter->setPen(Qt::NoPen);
    painter->drawRoundedRect(ground, measure::corner, measure::corner);
    if (option.state & QStyle::State_HasFocus && option.state & QStyle::State_KeyboardFocusChange) {
        painter->setPen(QPen(theme.accent, 1.5));
        painter->setBrush(Qt::NoBrush);
        painter->drawRoundedRect(ground.adjusted(1, 1, -1, -1), measure::corner, measure::corner);
    }
    paintPicture(*painter, option, index, theme);
    paintTexts(*painter, option, index, theme);
    painter->restore();
}

void PictureRowDelegate::paintPicture(QPainter& painter, const QStyleOptionViewItem& option,
                                      const QModelIndex& index, const ThemeColors& theme) const {
    const QRect frame = pictureRect(option);
    QPainterPath outline;
    outline.addRoundedRect(frame, pictureCorner, pictureCorner);
    const auto image = index.data(picture).value<QImage>();
    if (image.isNull()) {
        painter.fillPath(outline, theme.separator);
        const QRect square(frame.center().x() - pictureSymbol / 2, frame.center().y() - pictureSymbol / 2,
                           pictureSymbol, pictureSymbol);
        paintSymbol(painter, square, index.data(symbol).toString().toStdString(), theme.secondary);
        return;
    }
    painter.fillPath(outline, pictureBackdrop);
    const QSizeF shown = QSizeF(image.size()).scaled(frame.size(), Qt::KeepAspectRatio);
    QRectF place({}, shown);
    place.moveCenter(QRectF(frame).center());
    painter.save();
    painter.setClipPath(outline);
    painter.drawImage(place, image);
    painter.restore();
}

void PictureRowDelegate::paintTexts(QPainter& painter, const QStyleOptionViewItem& option,
                                    const QModelIndex& index, const ThemeColors& theme) const {
    QRect line = nameRect(option);
    if (index.data(marked).toBool()) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(theme.accent);
        const QRect place(line.left(), line.top(), dot, line.height());
        const QRectF mark = QStyle::visualRect(option.direction, line, place);
        painter.drawEllipse(QRectF(mark.left(), line.center().y() - dot / 2.0 + 0.5, dot, dot));
        line = QStyle::visualRect(option.direction, line, line.adjusted(dot + 6, 0, 0, 0));
    }
    painter.setFont(option.font);
    painter.setPen(option.palette.color(QPalette::Text));
    const auto draw = [&painter](const QRect& place, const QString& text, Qt::TextElideMode elision) {
        painter.drawText(place, Qt::AlignLeft | Qt::AlignVCenter,
                         painter.fontMetrics().elidedText(text, elision, place.width()));
    };
    draw(line, index.data(Qt::DisplayRole).toString(), Qt::ElideMiddle);
    line = nameRect(option);
    painter.setFont(detailFont(option));
    painter.setPen(theme.secondary);
    draw(QRect(line.left(), line.bottom() + 4, line.width(), painter.fontMetrics().height()),
         index.data(detail).toString(), Qt::ElideRight);
}

}  // namespace lumicrate::views
