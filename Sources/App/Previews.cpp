// SPDX-License-Identifier: GPL-3.0-or-later
#include "App/Previews.h"

#include "Linux/Player/MpvPlayer.h"
#include "Support/DispatchQueue.h"
#include "Views/Preview/PreviewWindow.h"

#include <memory>

namespace lumicrate::app {

Previews::Previews(SystemServices& system, NSWorkspace& workspace)
    : windows({system.executor, system.assets, images_, compactExport_, composition_, system.files,
               system.defaults, system.notifications, workspace,
               [&executor = system.executor](const std::filesystem::path& url) {
                   return std::make_unique<player::MpvPlayer>(executor, url);
               },
               [](const std::string& label) { return std::make_unique<SerialQueue>(label); }, watchFolder},
              [](PreviewModel& model) { return std::make_unique<views::PreviewWindow>(model); }) {}

}  // namespace lumicrate::app
