#include "Views/Windows/SymbolLabel.h"

#include "Views/Symbols.h"

#include <QPainter>

namespace lumicrate::views {

SymbolLabel::SymbolLabel(std::string_view name, Tint tint, int side) : name_(name), tint_(tint) {
    setFixedSize(side, side);
}

void SymbolLabel::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    paintSymbol(painter, rect(), name_, ThemeColors::of(*this).*tint_);
}

}  // namespace lumicrate::views
