// PlateButton: a button on the dark plate of a selection's bar.
#pragma once

#include "Lumicrate/Shell/MenuItem.h"

#include <QAbstractButton>
#include <QStringList>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

class QMenu;

namespace lumicrate::views {

/// Comes by the Tab key and takes the keys by nothing else; a click gives them to the overlay. The space
/// bar presses it. All other keys go on to the overlay.
class PlateButton : public QAbstractButton {
 public:
    enum class Look {
        plain,      ///< gets a ground under the pointer
        field,      ///< always has one, as something is chosen there
        narrow,     ///< plain, for a chevron alone
        prominent,  ///< in the record colour
    };
    using Items = std::function<std::vector<MenuItem>()>;

    PlateButton(Look look, QWidget* parent);

    /// An empty name for none.
    void setSymbol(std::string_view name);
    /// Tip, and name for assistive technology.
    void setHelp(const std::string& help);
    /// Keeps the button as wide as the widest of these texts needs.
    void setWidestOf(const QStringList& texts);
    /// A press opens a menu, which is filled anew each time, as does the Down key; a chevron tells of it.
    void setMenu(Items items);
    /// Return presses it too.
    void setPressedByReturn(bool pressed) { pressedByReturn_ = pressed; }

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

 protected:
    void paintEvent(QPaintEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

    virtual QColor symbolColor() const;
    virtual QColor groundColor() const;
    bool isHovered() const { return isEnabled() && underMouse(); }

 private:
    QFont textFont() const;
    int textWidth() const;
    void openMenu();
    void paintParts(QPainter& painter) const;

    Look look_;
    std::string symbol_;
    QStringList texts_;
    Items items_;
    QMenu* menu_ = nullptr;
    bool pressedByReturn_ = false;
};

}  // namespace lumicrate::views
