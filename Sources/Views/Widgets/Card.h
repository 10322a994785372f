// SPDX-License-Identifier: GPL-3.0-or-later
// Card: a raised surface with separated rows.
#pragma once

#include <QWidget>

class QVBoxLayout;

namespace lumicrate::views {

class Card final : public QWidget {
 public:
    explicit Card(QWidget* parent = nullptr);

    /// Adds a row at the bottom, with a separator line above it.
    void addRow(QWidget* row);

 protected:
    void paintEvent(QPaintEvent* event) override;

 private:
    QVBoxLayout* rows_;
};

}  // namespace lumicrate::views
