#include "Views/Widgets/SymbolLabel.h"

#include "Views/Widgets/Symbols.h"

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
