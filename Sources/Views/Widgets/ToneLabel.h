// ToneLabel: a label in one of the theme's colours, which it keeps when the theme changes.
#pragma once

#include "Views/Theme.h"

#include <QEvent>
#include <QLabel>

namespace lumicrate::views {

class ToneLabel final : public QLabel {
 public:
    /// `color` is a member of ThemeColors: &ThemeColors::secondary.
    explicit ToneLabel(QColor ThemeColors::*color, QWidget* parent = nullptr)
        : QLabel(parent), color_(color) {
        recolor();
    }

 protected:
    void changeEvent(QEvent* event) override {
        QLabel::changeEvent(event);
        if (event->type() == QEvent::PaletteChange) recolor();
    }

 private:
    void recolor() {
        const QColor wanted = ThemeColors::of(*this).*color_;
        QPalette own = palette();
        if (own.color(QPalette::WindowText) == wanted) return;
        own.setColor(QPalette::WindowText, wanted);
        setPalette(own);
    }

    QColor ThemeColors::*color_;
};

}  // namespace lumicrate::views
