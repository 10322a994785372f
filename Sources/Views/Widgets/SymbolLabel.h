// SymbolLabel: a symbol beside a text, in one of the theme's colours.
#pragma once

#include "Views/Widgets/Theme.h"

#include <QWidget>
#include <string>
#include <string_view>

namespace lumicrate::views {

class SymbolLabel final : public QWidget {
 public:
    using Tint = QColor ThemeColors::*;

    /// `side` in points.
    SymbolLabel(std::string_view name, Tint tint, int side);

 protected:
    void paintEvent(QPaintEvent* event) override;

 private:
    std::string name_;
    Tint tint_;
};

}  // namespace lumicrate::views
