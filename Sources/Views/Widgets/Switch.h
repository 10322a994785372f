// SPDX-License-Identifier: GPL-3.0-or-later
// Switch: a check box that looks like a switch.
#pragma once

#include <QCheckBox>

namespace lumicrate::views {

class Switch final : public QCheckBox {
 public:
    explicit Switch(QWidget* parent = nullptr);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

 protected:
    void paintEvent(QPaintEvent* event) override;
    bool hitButton(const QPoint& position) const override { return rect().contains(position); }
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;
};

}  // namespace lumicrate::views
