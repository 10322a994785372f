// SPDX-License-Identifier: GPL-3.0-or-later
// AreaToolbarView, PickBarView and CoverBarView: the bars of a selection.
#pragma once

#include "Lumicrate/Overlays/Selection/AreaToolbarModel.h"
#include "Support/Published.h"
#include "Views/Overlays/Selection/SelectionBar.h"

#include <optional>
#include <string>
#include <vector>

namespace lumicrate {
class RecordOptionsBar;
}

namespace lumicrate::views {

class BarButton;
class SegmentedPicker;

/// The toolbar beside a selection: its shape and size, what is recorded with it, cancel and confirm. Mirrors
/// its models, which must outlive it, and passes the user's actions to them. The parent is the overlay that
/// places the bar and handles the keys that no control uses. The size hint can change at any time; the parent
/// then gets a LayoutRequest event, even while the bar is hidden.
class AreaToolbarView final : public SelectionBar {
 public:
    AreaToolbarView(AreaToolbarModel& model, RecordOptionsBar& options, QWidget* parent);

 private:
    void addRecordPicker();
    void addAspect();
    void addField(AreaToolbarModel::Side side, const QString& name, const QString& mark);
    void addCover();
    void addActions();
    void showWindow(const std::optional<std::string>& title);
    void showAspect(AspectPreset preset);

    AreaToolbarModel& model_;
    SegmentedPicker* record_ = nullptr;
    QWidget* recordDivider_ = nullptr;
    BarButton* aspect_ = nullptr;
    std::vector<Subscription> subscriptions_;
};

/// The bar beside a selection of which only parts are covered.
class CoverBarView final : public SelectionBar {
 public:
    /// `model` must outlive it.
    CoverBarView(AreaToolbarModel& model, QWidget* parent);
};

/// The bar that is shown while nothing is selected yet. Return presses its buttons too.
class PickBarView final : public SelectionBar {
 public:
    /// `model` must outlive it.
    PickBarView(AreaToolbarModel& model, bool offersFullScreen, QWidget* parent);
};

}  // namespace lumicrate::views
