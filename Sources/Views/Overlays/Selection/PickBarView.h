// PickBarView: what can be done while nothing is selected yet.
#pragma once

#include "Lumicrate/Overlays/Selection/AreaToolbarModel.h"
#include "Views/Overlays/Selection/BarPlate.h"

namespace lumicrate::views {

/// Its buttons are pressed by Return too. `model` must outlive it.
class PickBarView final : public BarPlate {
 public:
    PickBarView(AreaToolbarModel& model, bool offersFullScreen, QWidget* parent);
};

}  // namespace lumicrate::views
