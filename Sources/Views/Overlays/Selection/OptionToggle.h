// OptionToggle: a button that turns one of the recording's options on and off.
#pragma once

#include "Lumicrate/Overlays/Selection/RecordOptionsBar.h"
#include "Views/Overlays/Selection/PlateButton.h"

namespace lumicrate::views {

/// Shows the preference as it is stored: a click asks for the change, which shows when it has been made.
class OptionToggle final : public PlateButton {
 public:
    OptionToggle(RecordOptionsBar& bar, const RecordOptionsBar::Toggle& toggle, QWidget* parent);

    void setToggle(const RecordOptionsBar::Toggle& toggle);

 protected:
    void nextCheckState() override {}
    QColor symbolColor() const override;
};

}  // namespace lumicrate::views
