// SPDX-License-Identifier: GPL-3.0-or-later
// LevelMeter: a bar that shows a sound level.
#pragma once

#include <QWidget>

namespace lumicrate::views {

class LevelMeter final : public QWidget {
 public:
    explicit LevelMeter(QWidget* parent = nullptr);

    /// 0 … 1.
    void setLevel(float level);

    QSize sizeHint() const override;

 protected:
    void paintEvent(QPaintEvent* event) override;

 private:
    float level_ = 0;
};

}  // namespace lumicrate::views
