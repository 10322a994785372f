// Card: a raised surface with rows on it.
#pragma once

#include <QWidget>

class QVBoxLayout;

namespace lumicrate::views {

class Card final : public QWidget {
 public:
    explicit Card(QWidget* parent = nullptr);

    /// Below the others, with a line between.
    void addRow(QWidget* row);

 protected:
    void paintEvent(QPaintEvent* event) override;

 private:
    QVBoxLayout* rows_;
};

}  // namespace lumicrate::views
