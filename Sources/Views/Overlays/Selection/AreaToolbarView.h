// AreaToolbarView: the toolbar of a selection: its shape and size, what is recorded with it, and the way on.
#pragma once

#include "Lumicrate/Overlays/Selection/AreaToolbarModel.h"
#include "Support/Published.h"
#include "Views/Overlays/Selection/BarPlate.h"

#include <optional>
#include <string>
#include <vector>

namespace lumicrate {
class RecordOptionsBar;
}

namespace lumicrate::views {

class PlateButton;
class SegmentedPicker;

/// Mirrors its models, which must outlive it, and hands them what the user does. The parent is what the bar
/// floats on: it places the bar, and has the keys that no control wants. Its size hint changes while it
/// lives; the parent gets a LayoutRequest then, even while the bar is hidden.
class AreaToolbarView final : public BarPlate {
 public:
    AreaToolbarView(AreaToolbarModel& model, RecordOptionsBar& options, QWidget* parent);

 private:
    void addRecordPicker();
    void addAspect();
    void addField(AreaToolbarModel::Side side, const QString& name, const QString& mark);
    void addEnd();
    void showWindow(const std::optional<std::string>& title);
    void showAspect(AspectPreset preset);

    AreaToolbarModel& model_;
    SegmentedPicker* record_ = nullptr;
    QWidget* recordDivider_ = nullptr;
    PlateButton* aspect_ = nullptr;
    std::vector<Subscription> subscriptions_;
};

}  // namespace lumicrate::views
