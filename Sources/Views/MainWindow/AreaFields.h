// AreaFields: an area of a display, typed in numbers.
#pragma once

#include "Support/Geometry.h"

#include <QWidget>
#include <array>
#include <functional>

class QSpinBox;

namespace lumicrate::views {

/// Any area may be typed; whoever is given it judges whether it is on the display.
class AreaFields final : public QWidget {
 public:
    /// `chosen` is given what was typed, when it is complete.
    explicit AreaFields(std::function<void(const Rect&)> chosen, QWidget* parent = nullptr);

    void setArea(const Rect& area);

 private:
    std::function<void(const Rect&)> chosen_;
    std::array<QSpinBox*, 4> fields_{};  ///< x, y, width, height
};

}  // namespace lumicrate::views
