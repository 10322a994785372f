// TintedLabel: text in one of the theme's colours, light or dark.
#pragma once

#include "Views/Widgets/Theme.h"

#include <QLabel>
#include <QString>

namespace lumicrate::views {

class TintedLabel final : public QLabel {
 public:
    using Tint = QColor ThemeColors::*;

    /// On one line, empty at first.
    TintedLabel(Tint tint, QWidget* parent);
    /// Wraps its lines.
    explicit TintedLabel(Tint tint, const QString& text = {});

    /// Takes no room while there is no text; tells those who listen when there is one.
    void showMessage(const QString& text);

 protected:
    void changeEvent(QEvent* event) override;

 private:
    void applyTint();

    Tint tint_;
};

}  // namespace lumicrate::views
