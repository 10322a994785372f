// GeneralPage: what holds for all recordings: how they begin, where they go.
#pragma once

#include "Lumicrate/Settings/SettingsModel.h"
#include "Views/Settings/SettingsPage.h"

namespace lumicrate::views {

class GeneralPage final : public SettingsPage {
 public:
    /// `model` must outlive the page.
    explicit GeneralPage(SettingsModel& model);

 private:
    QWidget* folderRow();

    SettingsModel& model_;
};

}  // namespace lumicrate::views
