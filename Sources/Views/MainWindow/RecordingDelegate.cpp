// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/MainWindow/RecordingDelegate.h"

#include "Views/Widgets/QtText.h"
#include "Views/Widgets/Symbols.h"

#include <QCursor>
#include <QLineEdit>
#include <QMouseEvent>
#include <QPainter>
#include <QWidget>

namespace lumicrate::views {

namespace {

constexpr int buttonSide = 30;
constexpr int buttonMargin = 8;

}  // namespace

QRect RecordingDelegate::buttonRect(const QStyleOptionViewItem& option) {
    const QRect& row = option.rect;
    const QRect place(row.right() + 1 - buttonMargin - buttonSide,
                      row.top() + (row.height() - buttonSide) / 2, buttonSide, buttonSide);
    return QStyle::visualRect(option.direction, row, place);
}

int RecordingDelegate::reserved() const {
    return buttonSide + buttonMargin;
}

void RecordingDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option,
                              const QModelIndex& index) const {
    PictureRowDelegate::paint(painter, option, index);
    const bool shown =
        option.state & (QStyle::State_MouseOver | QStyle::State_Selected | QStyle::State_HasFocus);
    if (!shown || option.widget == nullptr) return;
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    const QRect button = buttonRect(option);
    const ThemeColors theme = ThemeColors::of(*option.widget);
    const auto* viewport = static_cast<const QWidget*>(painter->device());
    const bool hovered =
        option.state & QStyle::State_MouseOver && button.contains(viewport->mapFromGlobal(QCursor::pos()));
    if (hovered) {
        painter->setPen(Qt::NoPen);
        painter->setBrush(theme.separator);
        painter->drawRoundedRect(button, measure::corner - 2, measure::corner - 2);
    }
    const QRect square(button.center().x() - measure::symbol / 2 + 1,
                       button.center().y() - measure::symbol / 2 + 1, measure::symbol, measure::symbol);
    paintSymbol(*painter, square, "ellipsis", option.palette.color(QPalette::Text));
    painter->restore();
}

bool RecordingDelegate::editorEvent(QEvent* event, QAbstractItemModel* model,
                                    const QStyleOptionViewItem& option, const QModelIndex& index) {
    if (event->type() == QEvent::MouseButtonRelease) {
        const auto* mouse = static_cast<QMouseEvent*>(event);
        if (mouse->button() == Qt::LeftButton && buttonRect(option).contains(mouse->position().toPoint())) {
            handlers_.openMenu(index, mouse->globalPosition().toPoint());
            return true;
        }
    }
    return PictureRowDelegate::editorEvent(event, model, option, index);
}

QWidget* RecordingDelegate::createEditor(QWidget* parent, const QStyleOptionViewItem&,
                                         const QModelIndex&) const {
    auto* field = new QLineEdit(parent);
    field->setAccessibleName(localizedText("Name of the recording"));
    return field;
}

void RecordingDelegate::setEditorData(QWidget* editor, const QModelIndex& index) const {
    auto* field = static_cast<QLineEdit*>(editor);
    const QString name = index.data(Qt::EditRole).toString();
    // Also called for other changes of the row: then typed text and selection are kept.
    if (field->isModified() || field->text() == name) return;
    field->setText(name);
    field->selectAll();
}

void RecordingDelegate::setModelData(QWidget* editor, QAbstractItemModel*, const QModelIndex& index) const {
    handlers_.rename(index, static_cast<QLineEdit*>(editor)->text());
}

void RecordingDelegate::updateEditorGeometry(QWidget* editor, const QStyleOptionViewItem& option,
                                             const QModelIndex&) const {
    const QRect line = nameRect(option);
    const int height = editor->sizeHint().height();
    const QRect place(line.left() - 4, line.center().y() - height / 2, line.width() + 4, height);
    editor->setGeometry(option.direction == Qt::LeftToRight ? place : place.translated(4, 0));
}

}  // namespace lumicrate::views
