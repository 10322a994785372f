#include "Views/Widgets/TintedLabel.h"

#include <QAccessible>
#include <QEvent>

namespace lumicrate::views {

TintedLabel::TintedLabel(Tint tint, QWidget* parent) : QLabel(parent), tint_(tint) {
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
    QAccessibleEvent told(this, QAccessible::Alert);
    QAccessible::updateAccessibility(&told);
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

}  // namespace lumicrate::views
