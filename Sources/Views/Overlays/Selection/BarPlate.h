// BarPlate: the dark rounded ground of a selection's bar, with its controls in a row.
#pragma once

#include <QWidget>

class QHBoxLayout;

namespace lumicrate::views {

/// A child of the overlay that it floats on. Presses on it go no further. The overlay takes focus by clicks,
/// so that a press gives it the keys back, wherever on the bar it is; only fields keep them.
class BarPlate : public QWidget {
 public:
    explicit BarPlate(QWidget* parent);

    /// To what the bar floats on.
    void giveKeysBack();
    /// The bar that a control stands on.
    static BarPlate* of(const QWidget& control);

 protected:
    bool event(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

    QHBoxLayout& row() const { return *row_; }
    /// A thin line between groups, with room around.
    QWidget* addDivider();

 private:
    QHBoxLayout* row_;
};

}  // namespace lumicrate::views
