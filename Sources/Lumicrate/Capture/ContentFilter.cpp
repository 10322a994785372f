// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Capture/ContentFilter.h"

#include "Lumicrate/Capture/NeverRecorded.h"
#include "Lumicrate/Capture/SourceLists.h"
#include "Lumicrate/Capture/WindowFamily.h"
#include "Lumicrate/Recording/RecorderError.h"
#include "Support/Log.h"

#include <algorithm>
#include <utility>

namespace lumicrate {

namespace {

bool contains(const std::vector<std::uint32_t>& numbers, std::uint32_t number) {
    return std::ranges::find(numbers, number) != numbers.end();
}

bool isExcluded(const SCWindow& window, const FilterRequest& request) {
    const bool own = window.owningApplication && window.owningApplication->processID == request.processID;
    if (!own || contains(request.overlays.keep, window.windowID)) return false;
    return request.hideSelf || contains(request.overlays.chrome, window.windowID);
}

CaptureTarget displayTarget(const SCShareableContent& content, const FilterRequest& request) {
    if (content.displays.empty()) throw RecorderError(RecorderError::noDisplay);
    const auto named = request.source ? request.source->displayID() : std::nullopt;
    const std::uint32_t wanted = named.value_or(request.mainDisplayID);
    const auto found = std::ranges::find(content.displays, wanted, &SCDisplay::displayID);
    const SCDisplay& display = found == content.displays.end() ? content.displays.front() : *found;

    std::vector<SCWindow> excluded;
    for (const SCWindow& window : content.windows) {
        if (isExcluded(window, request)) excluded.push_back(window);
    }
    log(LogArea::capture, "recording display ", display.displayID, " without ", excluded.size(),
        " own windows");
    CaptureTarget target{SCContentFilter::excludingWindows(display, std::move(excluded)), {}, {}};
    if (request.hideSelf) target.filter.excludedProcessID = request.processID;
    target.filter.exceptingWindows = request.overlays.keep;
    if (!request.neverRecorded.empty())
        target.filter.excludesWindow = [classes = request.neverRecorded](const auto& window, auto others) {
            return isNeverRecorded(window, others, classes);
        };
    return target;
}

CaptureTarget windowTarget(const SCShareableContent& content, const FilterRequest& request,
                           std::uint32_t windowID) {
    const auto found = std::ranges::find(content.windows, windowID, &SCWindow::windowID);
    if (found == content.windows.end()) throw RecorderError(RecorderError::windowGone);
    if (isListed(applicationName(*found), request.neverRecorded))
        throw RecorderError(RecorderError::neverRecorded);
    if (content.displays.empty() || !found->hasPosition)
        return {SCContentFilter::desktopIndependent(*found), {}, {}};

    const SCDisplay& display = displayShowingMost(content.displays, found->frame);
    std::vector<SCWindow> included = {*found};
    for (const SCWindow& window : content.windows) {
        if (contains(request.overlays.keep, window.windowID)) included.push_back(window);
    }
    log(LogArea::capture, "recording a window on display ", display.displayID, " with ", included.size() - 1,
        " overlays");
    CaptureTarget target;
    target.filter = SCContentFilter::includingWindows(display, std::move(included));
    target.filter.includesWindow = [classes = request.neverRecorded](const auto& window, auto family) {
        const bool isExcluded = !classes.empty() && isNeverRecorded(window, family, classes);
        return !isExcluded && belongsToFamily(window, family);
    };
    target.windowDisplayID = display.displayID;
    target.windowSourceRect = partOfDisplay(found->frame, display.frame);
    return target;
}

}  // namespace

const SCDisplay& displayShowingMost(const std::vector<SCDisplay>& displays, const Rect& frame) {
    const auto shown = [&frame](const SCDisplay& each) { return each.frame.intersection(frame).area(); };
    return *std::ranges::max_element(displays, {}, shown);
}

Rect partOfDisplay(const Rect& window, const Rect& display) {
    const Rect onDisplay = window.offsetBy(-display.minX(), -display.minY());
    return onDisplay.intersection({0, 0, display.width, display.height}).integral();
}

CaptureTarget makeFilter(const SCShareableContent& content, const FilterRequest& request) {
    const auto windowID = request.source ? request.source->windowID() : std::nullopt;
    return windowID ? windowTarget(content, request, *windowID) : displayTarget(content, request);
}

void setOverlays(SCContentFilter& filter, const OverlayWindows& overlays) {
    const auto add = [&filter](const std::vector<std::uint32_t>& numbers) {
        for (const std::uint32_t number : numbers) {
            if (std::ranges::find(filter.windows, number, &SCWindow::windowID) == filter.windows.end())
                filter.windows.emplace_back().windowID = number;
        }
    };
    if (filter.kind == SCContentFilter::Kind::displayExcludingWindows) {
        filter.exceptingWindows = overlays.keep;
        std::erase_if(filter.windows,
                      [&](const SCWindow& each) { return contains(overlays.keep, each.windowID); });
        add(overlays.chrome);
    } else if (filter.kind == SCContentFilter::Kind::displayIncludingWindows) {
        filter.windows.resize(1);
        add(overlays.keep);
    }
}

std::uint32_t chooseMainDisplay(const std::vector<SCDisplay>& displays, std::uint32_t desktopMainDisplayID) {
    const bool listed =
        std::ranges::find(displays, desktopMainDisplayID, &SCDisplay::displayID) != displays.end();
    return listed || displays.empty() ? desktopMainDisplayID : displays.front().displayID;
}

}  // namespace lumicrate
