// GeneralPage: what holds for all recordings: how they begin, where they go.
#pragma once

#include "Lumicrate/SettingsView.h"
#include "Views/Settings/SettingsPage.h"

namespace lumicrate::views {

class GeneralPage final : public SettingsPage {
 public:
    /// `model` must outlive the page.
    explicit GeneralPage(SettingsView& model);

 private:
    QWidget* folderRow();

    SettingsView& model_;
};

}  // namespace lumicrate::views
