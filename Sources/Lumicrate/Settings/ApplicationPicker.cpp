// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Settings/ApplicationPicker.h"

#include "Lumicrate/Capture/SourceChooser.h"
#include "Lumicrate/Capture/SourceLists.h"
#include "Lumicrate/Overlays/Selection/AreaSelector.h"
#include "Support/Error.h"
#include "Support/Log.h"
#include "Support/Text.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace lumicrate {

void ApplicationPicker::pick(Picked picked) {
    running_ = RunningTask(services_.executor, ask(std::move(picked)));
}

Task<void> ApplicationPicker::ask(Picked picked) {
    const auto display = displayUnderPointer(services_.screens);
    const std::optional<NSScreen> screen =
        screenShowing(services_.screens, display.value_or(services_.capture.CGMainDisplayID()));
    if (!screen) co_return;
    Task<std::optional<PickedArea>> selecting = services_.selector.pickWindow(
        *screen, localized("Click a window of the application that is never recorded   ·   "
                           "Esc: cancel"));
    const std::optional<PickedArea> area = co_await selecting;
    if (!area || !area->windowID) co_return;
    SCShareableContent content;
    try {
        Task<SCShareableContent> fetching = fetchShareableContent(services_.capture, services_.executor);
        content = co_await fetching;
    } catch (const LocalizedError& error) {
        log(LogArea::ui, "application of a window: ", error.what());
    }
    const auto found = std::ranges::find(content.windows, *area->windowID, &SCWindow::windowID);
    if (found == content.windows.end()) co_return;
    if (const std::string windowClass = applicationName(*found); !windowClass.empty()) picked(windowClass);
}

}  // namespace lumicrate
