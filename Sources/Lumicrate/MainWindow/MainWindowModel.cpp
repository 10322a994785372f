// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/MainWindow/MainWindowModel.h"

#include "Support/Text.h"

#include <utility>

namespace lumicrate {

namespace {

// Sharp at a scale factor of 2.
constexpr Size thumbnailPixels{192, 108};
constexpr Size windowPixels{320, 200};

}  // namespace

MainWindowModel::MainWindowModel(Services services)
    : defaults(services.defaults),
      commands(std::move(services.commands)),
      messages(services.recorder),
      sources(services.recorder, services.defaults,
              [this](const std::string& sentence) { messages.report(sentence); }),
      windowPicker(services.executor, sources, services.screenshots, windowPixels),
      controls(services.recorder, sources, services.defaults, services.mixing, services.desktop),
      recordings({services.library, services.files, services.workspace, std::move(services.formatDate),
                  [this](const std::string& sentence) { messages.report(sentence); }}),
      thumbnails(services.executor, services.images, std::move(services.thumbnailQueue), thumbnailPixels) {}

std::vector<MenuItem> MainWindowModel::menu() const {
    std::vector<MenuItem> items = commands.menu();
    if (!items.empty()) items.push_back(MenuItem::line());
    items.push_back(MenuItem::command(localized("Open Recordings Folder"), commands.openFolder));
    items.push_back(MenuItem::command(localized("Settings…"), commands.openSettings));
    if (commands.checkForUpdates)
        items.push_back(MenuItem::command(localized("Check for Updates…"), commands.checkForUpdates));
    items.push_back(MenuItem::command(localized("About Lumicrate"), commands.showAbout));
    items.push_back(MenuItem::line());
    items.push_back(MenuItem::command(localized("Quit Lumicrate"), commands.quit));
    return items;
}

}  // namespace lumicrate
