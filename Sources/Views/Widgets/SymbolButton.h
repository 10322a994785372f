// SPDX-License-Identifier: GPL-3.0-or-later
// SymbolButton: base of the program's own buttons. A button shows a symbol, a text or both, on a ground that
// it paints itself: FlatButton in windows, in the theme's colours, and BarButton in overlays, always dark.
#pragma once

#include <QAbstractButton>
#include <string>
#include <string_view>

namespace lumicrate::views {

class SymbolButton : public QAbstractButton {
 public:
    /// A name of Symbols.h; an empty one for no symbol.
    void setSymbol(std::string_view name) {
        if (symbol_ == name) return;
        symbol_ = name;
        updateGeometry();
        update();
    }

 protected:
    explicit SymbolButton(QWidget* parent) : QAbstractButton(parent) { setAttribute(Qt::WA_Hover); }

    const std::string& symbolName() const { return symbol_; }
    bool isHovered() const { return isEnabled() && underMouse(); }

 private:
    std::string symbol_;
};

}  // namespace lumicrate::views
