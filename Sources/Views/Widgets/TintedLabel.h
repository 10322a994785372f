// SPDX-License-Identifier: GPL-3.0-or-later
// TintedLabel and SymbolLabel: text or a symbol in one of the theme's colours, light or dark.
#pragma once

#include "Views/Widgets/Theme.h"

#include <QLabel>
#include <QString>
#include <QWidget>
#include <string>
#include <string_view>

namespace lumicrate::views {

/// One of the theme's colours: `&ThemeColors::warning`.
using Tint = QColor ThemeColors::*;

/// Its text begins at the side where lines of the user interface begin, whatever letters it has.
class TintedLabel final : public QLabel {
 public:
    /// A single line, empty at first.
    TintedLabel(Tint tint, QWidget* parent);
    /// Wraps long text.
    explicit TintedLabel(Tint tint, const QString& text = {});

    /// Shows the text and announces it to assistive technology. An empty text hides the label.
    void showMessage(const QString& text);

 protected:
    void changeEvent(QEvent* event) override;

 private:
    void applyTint();

    Tint tint_;
};

class SymbolLabel final : public QWidget {
 public:
    /// `side` in points.
    SymbolLabel(std::string_view name, Tint tint, int side);

 protected:
    void paintEvent(QPaintEvent* event) override;

 private:
    std::string name_;
    Tint tint_;
};

}  // namespace lumicrate::views
