// VideoPage: the picture of recordings.
#pragma once

#include "Lumicrate/SettingsView.h"
#include "Views/Settings/SettingsPage.h"

namespace lumicrate::views {

class VideoPage final : public SettingsPage {
 public:
    /// `model` must outlive the page.
    explicit VideoPage(SettingsView& model);
};

}  // namespace lumicrate::views
