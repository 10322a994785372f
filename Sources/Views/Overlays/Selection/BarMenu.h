// SPDX-License-Identifier: GPL-3.0-or-later
// BarMenu: the menu that a button of a selection's bar opens, dark like the bar in every theme.
#pragma once

#include <QMenu>

namespace lumicrate::views {

class BarButton;

/// Shows headings, and a check mark before the present choice. The button stays pressed while the menu is
/// open; a press elsewhere only closes the menu.
class BarMenu final : public QMenu {
 public:
    /// An empty menu, which belongs to the button.
    explicit BarMenu(BarButton& button);

    /// Shows it below the button's bar, or above the bar where there is no room below.
    void open();

 protected:
    void showEvent(QShowEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

 private:
    QPoint position() const;
    void updateShape() const;

    BarButton& button_;
};

}  // namespace lumicrate::views
