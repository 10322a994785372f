// SPDX-License-Identifier: GPL-3.0-or-later
// ShortcutFieldView: the control that shows a shortcut and lets the user type another.
#pragma once

#include "Lumicrate/Settings/ShortcutField.h"
#include "Support/Published.h"

#include <QWidget>

class QPushButton;
class QToolButton;

namespace lumicrate::views {

class TintedLabel;

class ShortcutFieldView final : public QWidget {
 public:
    /// `field` must outlive the view.
    explicit ShortcutFieldView(ShortcutField& field);

 protected:
    void changeEvent(QEvent* event) override;
    bool event(QEvent* event) override;
    void hideEvent(QHideEvent* event) override;

 private:
    void showContent(const ShortcutField::Content& content);
    void tint(ShortcutField::Tone tone);

    ShortcutField& field_;
    QPushButton* button_;
    QToolButton* restore_;
    TintedLabel* message_;
    Subscription changes_;
};

}  // namespace lumicrate::views
