// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Capture/SourceChooser.h"

#include "Lumicrate/Overlays/Selection/AreaSelector.h"
#include "Lumicrate/Overlays/Selection/ScreenChooser.h"
#include "Support/Text.h"

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

namespace lumicrate {

std::optional<NSScreen> screenShowing(const NSScreens& service, std::uint32_t displayID) {
    const std::vector<NSScreen> screens = service.screens();
    const auto found = std::ranges::find(screens, displayID, &NSScreen::displayID);
    if (found != screens.end()) return *found;
    return screens.empty() ? std::nullopt : std::optional(screens.front());
}

std::optional<std::uint32_t> displayUnderPointer(const NSScreens& service) {
    const Point pointer = service.mouseLocation();
    for (const NSScreen& screen : service.screens()) {
        if (screen.frame.contains(pointer)) return screen.displayID;
    }
    return std::nullopt;
}

Task<std::optional<SourceChooser::Choice>> SourceChooser::choose(CaptureMode mode, std::uint32_t displayID,
                                                                 std::optional<Rect> initialArea,
                                                                 bool showsCursor) {
    if (picker_) return chooseShared(mode, displayID, initialArea, showsCursor);
    switch (mode) {
        case CaptureMode::window:
            return pickWindow(displayID);
        case CaptureMode::area:
            return selectArea(displayID, initialArea);
        default:
            return pickScreen();
    }
}

Task<std::optional<CaptureSource>> SourceChooser::share(CaptureSource source, bool showsCursor) {
    if (!picker_ || source.is(CaptureSource::Kind::audioOnly)) co_return source;
    const bool isWindow = source.is(CaptureSource::Kind::window);
    const SCSharingRequest request{
        isWindow ? SCSharingRequest::Kind::window : SCSharingRequest::Kind::display, source.displayID(),
        showsCursor};
    Task<std::optional<SCSharedContent>> sharing = picker_->share(request);
    const std::optional<SCSharedContent> shared = co_await sharing;
    if (!shared) co_return std::nullopt;
    co_await lists_.refreshSources();
    if (shared->window) {
        co_await lists_.ensureListed(shared->window->windowID);
        co_return CaptureSource::window(shared->window->windowID);
    }
    const std::uint32_t displayID = shared->display->displayID;
    co_return source.is(CaptureSource::Kind::area) ? CaptureSource::area(displayID)
                                                   : CaptureSource::display(displayID);
}

void SourceChooser::cancel() {
    if (picker_) picker_->endSharing();
    if (overlays_.areaSelector) overlays_.areaSelector->cancel();
    if (overlays_.screenChooser) overlays_.screenChooser->finish(std::nullopt);
}

Task<std::optional<PickedArea>> SourceChooser::ask(std::uint32_t displayID, std::optional<Rect> initialArea,
                                                   bool windowsOnly) {
    const std::optional<NSScreen> screen = screenShowing(screens_, displayID);
    if (!overlays_.areaSelector || !screen) co_return std::nullopt;
    std::vector<CaptureDevice> microphones;
    if (!windowsOnly) microphones = lists_.microphones.get();
    // Announced after every change of the windows.
    const Subscription windowChanges = lists_.windows.observe(
        [selector = overlays_.areaSelector](const auto&) { selector->refreshTargets(); });
    Task<std::optional<PickedArea>> selecting = overlays_.areaSelector->select(
        *screen, localized("Record"), initialArea, std::move(microphones), windowsOnly);
    const std::optional<PickedArea> picked = co_await selecting;
    if (picked && picked->windowID) co_await lists_.ensureListed(*picked->windowID);
    co_return picked;
}

Task<std::optional<SourceChooser::Choice>> SourceChooser::chooseShared(CaptureMode mode,
                                                                       std::uint32_t displayID,
                                                                       std::optional<Rect> initialArea,
                                                                       bool showsCursor) {
    const CaptureSource wanted = mode == CaptureMode::window ? CaptureSource::window(0)
                                 : mode == CaptureMode::area ? CaptureSource::area(displayID)
                                                             : CaptureSource::display(displayID);
    Task<std::optional<CaptureSource>> sharing = share(wanted, showsCursor);
    const std::optional<CaptureSource> shared = co_await sharing;
    if (!shared) co_return std::nullopt;
    if (mode != CaptureMode::area) co_return Choice{*shared, std::nullopt};
    Task<std::optional<Choice>> selecting = selectArea(*shared->displayID(), initialArea);
    co_return co_await selecting;
}

Task<std::optional<SourceChooser::Choice>> SourceChooser::selectArea(std::uint32_t displayID,
                                                                     std::optional<Rect> initialArea) {
    // The display of the screen that is shown: the requested one may have been disconnected.
    const std::optional<NSScreen> screen = screenShowing(screens_, displayID);
    if (screen && screen->displayID) displayID = *screen->displayID;
    const std::optional<PickedArea> picked = co_await ask(displayID, initialArea, false);
    if (!picked) co_return std::nullopt;
    if (picked->windowID) co_return Choice{CaptureSource::window(*picked->windowID), std::nullopt};
    co_return Choice{CaptureSource::area(displayID), picked->rect, picked->covers};
}

Task<std::optional<SourceChooser::Choice>> SourceChooser::pickWindow(std::uint32_t displayID) {
    const std::optional<PickedArea> picked = co_await ask(displayID, std::nullopt, true);
    if (!picked || !picked->windowID) co_return std::nullopt;
    co_return Choice{CaptureSource::window(*picked->windowID), std::nullopt};
}

Task<std::optional<SourceChooser::Choice>> SourceChooser::pickScreen() {
    const std::vector<NSScreen> screens = screens_.screens();
    std::optional<std::uint32_t> displayID;
    if (screens.size() == 1 && screens.front().displayID) {
        displayID = screens.front().displayID;
    } else if (overlays_.screenChooser) {
        displayID = co_await overlays_.screenChooser->choose();
    }
    if (!displayID) co_return std::nullopt;
    co_return Choice{CaptureSource::display(*displayID), std::nullopt};
}

}  // namespace lumicrate
