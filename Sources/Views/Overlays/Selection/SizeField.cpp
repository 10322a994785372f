// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/Overlays/Selection/SizeField.h"

#include "Views/Overlays/OverlayStyle.h"
#include "Views/Overlays/Selection/SelectionBar.h"

#include <QFocusEvent>
#include <QFontMetrics>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QRegularExpressionValidator>
#include <utility>

namespace lumicrate::views {

namespace {

constexpr int markGap = 5;
constexpr int fastSteps = 10;

}  // namespace

SizeField::SizeField(const QString& name, QString mark, Actions actions, QWidget* parent)
    : QLineEdit(parent), mark_(std::move(mark)), actions_(std::move(actions)) {
    setAccessibleName(name);
    setToolTip(name);
    setFrame(false);
    setContextMenuPolicy(Qt::NoContextMenu);
    setInputMethodHints(Qt::ImhDigitsOnly);
    setValidator(new QRegularExpressionValidator(QRegularExpression(QStringLiteral("[0-9]{0,9}")), this));
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    QPalette colors = palette();
    colors.setColor(QPalette::Base, Qt::transparent);
    colors.setColor(QPalette::Text, Qt::white);
    colors.setColor(QPalette::Highlight, overlay::selection);
    colors.setColor(QPalette::HighlightedText, Qt::white);
    setPalette(colors);
    setFont(overlay::controlFont(font()));
    setAttribute(Qt::WA_Hover);
    const int beside = overlay::control::padding - 4 + markWidth() + markGap;
    const int opposite = overlay::control::padding - 5;
    setTextMargins(isRightToLeft() ? opposite : beside, 0, isRightToLeft() ? beside : opposite, 0);
}

int SizeField::markWidth() const {
    return QFontMetrics(font()).horizontalAdvance(mark_);
}

QSize SizeField::sizeHint() const {
    const int digits = QFontMetrics(font()).horizontalAdvance(QStringLiteral("00000"));
    return {2 * overlay::control::padding + markWidth() + markGap + digits + 2, overlay::control::height};
}

void SizeField::setValue(int value) {
    value_ = value;
    if (!isModified()) showValue();
}

void SizeField::showValue() {
    const bool allSelected = hasFocus() && hasSelectedText() && selectedText() == text();
    const QString shown = QString::number(value_);
    if (shown != text()) setText(shown);
    setModified(false);
    if (allSelected) selectAll();
}

void SizeField::commit() {
    if (!isModified()) return;
    // Cleared first, so that setValue shows the resulting value.
    setModified(false);
    actions_.commit(text().toStdString());
    showValue();
}

void SizeField::keyPressEvent(QKeyEvent* event) {
    switch (event->key()) {
        case Qt::Key_Return:
        case Qt::Key_Enter:
            commit();
            if (SelectionBar* const bar = SelectionBar::of(*this)) bar->returnFocus();
            return;
        case Qt::Key_Up:
        case Qt::Key_Down: {
            const int by = event->modifiers() & Qt::ShiftModifier ? fastSteps : 1;
            setModified(false);
            actions_.step(text().toStdString(), event->key() == Qt::Key_Up ? by : -by);
            showValue();
            return selectAll();
        }
        case Qt::Key_Escape:
            return event->ignore();
        default:
            QLineEdit::keyPressEvent(event);
    }
}

void SizeField::focusInEvent(QFocusEvent* event) {
    QLineEdit::focusInEvent(event);
    isFocusPress_ = event->reason() == Qt::MouseFocusReason;
    selectAll();
    update();
}

void SizeField::focusOutEvent(QFocusEvent* event) {
    QLineEdit::focusOutEvent(event);
    const bool isTemporary =
        event->reason() == Qt::PopupFocusReason || event->reason() == Qt::ActiveWindowFocusReason;
    // A bar is hidden when the selection ends, or by a drag, which sets another size.
    if (isVisible() && !isTemporary) commit();
    if (!isTemporary) showValue();
    update();
}

void SizeField::mousePressEvent(QMouseEvent* event) {
    if (!isFocusPress_) QLineEdit::mousePressEvent(event);
}

void SizeField::mouseMoveEvent(QMouseEvent* event) {
    if (!isFocusPress_) QLineEdit::mouseMoveEvent(event);
}

void SizeField::mouseReleaseEvent(QMouseEvent* event) {
    if (!std::exchange(isFocusPress_, false)) QLineEdit::mouseReleaseEvent(event);
}

void SizeField::paintEvent(QPaintEvent* event) {
    {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        const QColor ground =
            underMouse() && !hasFocus() ? overlay::control::fieldHover : overlay::control::field;
        overlay::paintGround(painter, rect(), ground);
        if (hasFocus()) overlay::paintFocus(painter, rect());
        painter.setPen(overlay::control::faintText);
        painter.setFont(font());
        painter.drawText(rect().adjusted(overlay::control::padding, 0, -overlay::control::padding, 0),
                         Qt::AlignLeft | Qt::AlignVCenter, mark_);
    }
    QLineEdit::paintEvent(event);
}

}  // namespace lumicrate::views
