// VideoPage: the picture of recordings.
#pragma once

#include "Lumicrate/Settings/SettingsModel.h"
#include "Views/Settings/SettingsPage.h"

namespace lumicrate::views {

class VideoPage final : public SettingsPage {
 public:
    /// `model` must outlive the page.
    explicit VideoPage(SettingsModel& model);
};

}  // namespace lumicrate::views
