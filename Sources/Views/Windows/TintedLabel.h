// TintedLabel: text in one of the theme's colours, light or dark.
#pragma once

#include "Views/Theme.h"

#include <QLabel>
#include <QString>

namespace lumicrate::views {

/// Wraps its lines.
class TintedLabel final : public QLabel {
 public:
    using Tint = QColor ThemeColors::*;

    explicit TintedLabel(Tint tint, const QString& text = {}, QWidget* parent = nullptr);

    /// Takes no room while there is no text; tells those who listen when there is one.
    void showMessage(const QString& text);

 protected:
    void changeEvent(QEvent* event) override;

 private:
    void applyTint();

    Tint tint_;
};

}  // namespace lumicrate::views
