// AudioPage: the sound of recordings.
#pragma once

#include "Lumicrate/Settings/SettingsModel.h"
#include "Support/Published.h"
#include "Views/Settings/SettingsPage.h"

namespace lumicrate::views {

class AudioPage final : public SettingsPage {
 public:
    /// `model` must outlive the page.
    explicit AudioPage(SettingsModel& model);

 private:
    Subscription microphoneChanges_;
};

}  // namespace lumicrate::views
