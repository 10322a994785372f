// SPDX-License-Identifier: GPL-3.0-or-later
// SelectionBar: the dark rounded ground of a selection's bar, with its controls in a row.
#pragma once

#include <QWidget>

class QHBoxLayout;

namespace lumicrate::views {

/// A child widget of the selection overlay, which has a click focus policy: a press anywhere on the bar moves
/// the keyboard focus back to the overlay. Only text fields keep it.
class SelectionBar : public QWidget {
 public:
    explicit SelectionBar(QWidget* parent);

    /// Moves the keyboard focus to the overlay.
    void returnFocus();
    /// The bar that holds a control; null without one.
    static SelectionBar* of(const QWidget& control);

 protected:
    bool event(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

    QHBoxLayout& row() const { return *row_; }
    /// A thin vertical line between groups of controls.
    QWidget* addDivider();

 private:
    QHBoxLayout* row_;
};

}  // namespace lumicrate::views
