// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/Widgets/TintedLabel.h"

#include "Views/Widgets/Symbols.h"

#include <QAccessible>
#include <QEvent>
#include <QPainter>

namespace lumicrate::views {

TintedLabel::TintedLabel(Tint tint, QWidget* parent) : QLabel(parent), tint_(tint) {
    // QLabel would align a path or a size in a window from right to left by its own letters, to the left.
    setAlignment(Qt::AlignVCenter | Qt::AlignAbsolute | (isRightToLeft() ? Qt::AlignRight : Qt::AlignLeft));
    applyTint();
}

TintedLabel::TintedLabel(Tint tint, const QString& text) : TintedLabel(tint, nullptr) {
    setText(text);
    setWordWrap(true);
}

void TintedLabel::showMessage(const QString& text) {
    if (text == this->text() && isHidden() == text.isEmpty()) return;
    setText(text);
    setVisible(!text.isEmpty());
    if (text.isEmpty()) return;
    QAccessibleEvent announcement(this, QAccessible::Alert);
    QAccessible::updateAccessibility(&announcement);
}

void TintedLabel::changeEvent(QEvent* event) {
    QLabel::changeEvent(event);
    if (event->type() == QEvent::PaletteChange) applyTint();
}

void TintedLabel::applyTint() {
    QPalette tinted = palette();
    const QColor color = ThemeColors::of(*this).*tint_;
    if (tinted.color(QPalette::WindowText) == color) return;
    tinted.setColor(QPalette::WindowText, color);
    setPalette(tinted);
}

SymbolLabel::SymbolLabel(std::string_view name, Tint tint, int side) : name_(name), tint_(tint) {
    setFixedSize(side, side);
}

void SymbolLabel::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    paintSymbol(painter, rect(), name_, ThemeColors::of(*this).*tint_);
}

}  // namespace lumicrate::views
