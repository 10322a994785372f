// ShortcutsPage: the system-wide key combinations.
#pragma once

#include "Lumicrate/Settings/SettingsModel.h"
#include "Support/Published.h"
#include "Views/Settings/SettingsPage.h"

namespace lumicrate::views {

class ShortcutsPage final : public SettingsPage {
 public:
    /// `model` must outlive the page.
    explicit ShortcutsPage(SettingsModel& model);

 private:
    Subscription unavailableChanges_;
};

}  // namespace lumicrate::views
