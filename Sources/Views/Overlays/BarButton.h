// SPDX-License-Identifier: GPL-3.0-or-later
// BarButton: the buttons of all dark bars: the control bar of a recording and the bars of a selection.
#pragma once

#include "Lumicrate/Shell/MenuItem.h"
#include "Views/Widgets/FlatButton.h"

#include <QStringList>
#include <functional>
#include <vector>

namespace lumicrate::views {

class BarMenu;

/// A click never moves the keyboard focus to the button. Buttons of a selection's bar are reached by the Tab
/// key and pressed by the space bar; all other keys go on to the overlay below.
class BarButton : public SymbolButton {
 public:
    enum class Look {
        icon,       ///< of the control bar: an icon alone, not reached by Tab
        plain,      ///< filled only under the pointer
        field,      ///< always filled, because it shows a choice
        narrow,     ///< plain, with only a chevron
        prominent,  ///< in the record colour
    };
    using Items = std::function<std::vector<MenuItem>()>;
    /// Paints into a square of measure::symbol points.
    using Icon = std::function<void(QPainter&, const QRectF& square)>;

    BarButton(Look look, QWidget* parent);

    /// Replaces the symbol.
    void setIconPainter(Icon icon) { icon_ = std::move(icon); }
    /// Called instead of showing a tool tip, which would be a window of its own and so be recorded: with true
    /// when the tip should appear, with false when it should go.
    void setOnTip(std::function<void(bool shown)> onTip) { onTip_ = std::move(onTip); }
    /// Keeps the button wide enough for each of these texts.
    void setWidestOf(const QStringList& texts);
    /// A press or the Down key opens a menu, which is refilled each time; a chevron indicates it.
    void setMenu(Items items);
    /// Return presses it too.
    void setPressedByReturn(bool pressed) { pressedByReturn_ = pressed; }

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

 protected:
    bool event(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

    virtual QColor symbolColor() const;

 private:
    QColor groundColor() const;
    QFont textFont() const;
    int textWidth() const;
    void openMenu();
    void paintIconAlone(QPainter& painter) const;
    void paintRow(QPainter& painter) const;
    QRectF square(double left, double side) const;

    Look look_;
    Icon icon_;
    std::function<void(bool)> onTip_;
    QStringList texts_;
    Items items_;
    BarMenu* menu_ = nullptr;
    bool pressedByReturn_ = false;
};

/// Shows whether something is on: bright or faint. A click only requests the change; the button follows when
/// setChecked() is called.
class BarToggle : public BarButton {
 public:
    explicit BarToggle(QWidget* parent) : BarButton(Look::plain, parent) { setCheckable(true); }

 protected:
    void nextCheckState() override {}
    QColor symbolColor() const override;
};

}  // namespace lumicrate::views
