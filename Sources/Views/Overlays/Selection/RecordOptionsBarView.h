// RecordOptionsBarView: resolution, frame rate and what is recorded besides the picture.
#pragma once

#include "Lumicrate/Overlays/Selection/RecordOptionsBar.h"
#include "Support/Published.h"

#include <QWidget>
#include <vector>

namespace lumicrate::views {

class OptionToggle;
class PlateButton;

/// `bar` must outlive it.
class RecordOptionsBarView final : public QWidget {
 public:
    RecordOptionsBarView(RecordOptionsBar& bar, QWidget* parent);

 private:
    void showContent(const RecordOptionsBar::Content& content);

    PlateButton* video_;
    std::vector<OptionToggle*> toggles_;
    Subscription subscription_;
};

}  // namespace lumicrate::views
