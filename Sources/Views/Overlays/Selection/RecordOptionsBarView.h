// SPDX-License-Identifier: GPL-3.0-or-later
// RecordOptionsBarView: resolution, frame rate and the sources that are recorded along with the picture.
#pragma once

#include "Lumicrate/Overlays/Selection/RecordOptionsBar.h"
#include "Support/Published.h"

#include <QWidget>
#include <vector>

namespace lumicrate::views {

class BarButton;
class OptionToggle;

/// A part of the toolbar. `bar` must outlive it.
class RecordOptionsBarView final : public QWidget {
 public:
    RecordOptionsBarView(RecordOptionsBar& bar, QWidget* parent);

 private:
    void showContent(const RecordOptionsBar::Content& content);

    BarButton* video_;
    std::vector<OptionToggle*> toggles_;
    Subscription subscription_;
};

}  // namespace lumicrate::views
