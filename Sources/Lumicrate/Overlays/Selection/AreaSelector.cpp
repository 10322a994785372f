// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Overlays/Selection/AreaSelector.h"

#include "Lumicrate/Capture/SourceLists.h"
#include "Support/Error.h"
#include "Support/Log.h"
#include "Support/Text.h"

#include <chrono>
#include <utility>

namespace lumicrate {

namespace {

/// Converts between y up, as in the overlay, and y down from the screen's top edge, in either direction.
Rect flipped(const Rect& rect, const NSScreen& screen) {
    return {rect.x, screen.frame.height - rect.maxY(), rect.width, rect.height};
}

/// Windows with a smaller visible part cannot be picked.
constexpr double minVisibleSide = 40;

bool canBePicked(const SCWindow& window, std::int32_t ownProcessID) {
    const auto& owner = window.owningApplication;
    return window.windowLayer == 0 && window.alpha > 0 && !(owner && owner->processID == ownProcessID);
}

std::string titleOf(const SCWindow& window) {
    const std::string application = applicationName(window);
    const std::string title = window.title.value_or("");
    if (title.empty() || title == application) return application;
    if (application.empty() || title.ends_with(application)) return title;
    return title + " — " + application;
}

}  // namespace

std::vector<HoverTarget> hoverTargets(const std::vector<SCWindow>& windows, const Rect& display,
                                      std::int32_t ownProcessID) {
    std::vector<HoverTarget> targets;
    for (const SCWindow& each : windows) {
        if (!canBePicked(each, ownProcessID)) continue;
        const Rect visible =
            each.frame.offsetBy(-display.x, -display.y).intersection({0, 0, display.width, display.height});
        if (visible.width < minVisibleSide || visible.height < minVisibleSide) continue;
        const Rect flipped{visible.x, display.height - visible.maxY(), visible.width, visible.height};
        targets.push_back({flipped, titleOf(each), each.windowID});
    }
    return targets;
}

AreaSelection::AreaSelection(std::string confirmTitle, std::vector<CaptureDevice> microphones,
                             NSUserDefaults& defaults,
                             const std::function<void(const std::string&)>& complain,
                             SelectionModel::Settings settings, SelectionModel::OnFinish onFinish)
    : toolbar(std::move(confirmTitle), std::move(microphones)),
      options(defaults, toolbar.microphones, complain),
      selection(std::move(settings), toolbar, std::move(onFinish)) {}

Task<std::optional<PickedArea>> AreaSelector::select(NSScreen screen, std::string confirmTitle,
                                                     std::optional<Rect> initialArea,
                                                     std::vector<CaptureDevice> microphones,
                                                     bool windowsOnly) {
    return run({std::move(screen), std::move(confirmTitle), std::move(microphones), windowsOnly},
               {initialArea, {}});
}

Task<std::optional<PickedArea>> AreaSelector::pickWindow(NSScreen screen, std::string hint) {
    return run({std::move(screen), {}, {}, true, std::move(hint)}, {});
}

Task<void> AreaSelector::drawCovers(NSScreen screen, Rect area, std::vector<Rect> covers,
                                    CoversHandler changed) {
    Request request{std::move(screen), localized("Done")};
    request.onCovers = std::move(changed);
    Task<std::optional<PickedArea>> drawing = run(std::move(request), {area, std::move(covers)});
    co_await drawing;
}

Task<std::optional<PickedArea>> AreaSelector::run(Request request, Start start) {
    finish(std::nullopt);
    close();
    const RunScope scope(runs_, [this] { close(); });
    std::vector<HoverTarget> targets;
    if (!request.onCovers) {
        Task<std::vector<HoverTarget>> finding = hoverTargets(request.screen);
        targets = co_await finding;
        if (!scope.isCurrent()) co_return std::nullopt;
    }

    const Completion<std::optional<PickedArea>> result(services_.executor);
    result_ = result;
    request_ = std::move(request);
    create(std::move(targets), start);
    const std::optional<PickedArea> picked = co_await result;
    co_return picked;
}

void AreaSelector::create(std::vector<HoverTarget> targets, const Start& start) {
    const NSScreen& screen = request_.screen;
    SelectionModel::Settings settings{screen.frame.size(), screen.backingScaleFactor, std::move(targets),
                                      request_.windowsOnly, services_.capture.canExcludeWindows()};
    settings.windowHint = request_.windowHint;
    settings.coversOnly = request_.onCovers != nullptr;
    for (const Rect& each : start.covers)
        settings.covers.push_back(flipped(each, screen));
    selection_ = std::make_unique<AreaSelection>(
        request_.confirmTitle, request_.microphones, services_.defaults, complain_, std::move(settings),
        [this](std::optional<Rect> rect, std::optional<std::uint32_t> windowID) {
            finish(rect ? std::optional(PickedArea{flipped(*rect, request_.screen), windowID, covers()})
                        : std::nullopt);
        });
    if (start.area) selection_->selection.preselect(flipped(*start.area, screen));
    if (request_.onCovers)
        coverChanges_ = selection_->selection.appearance.observe([this](const auto&) { reportCovers(); });
    selection_->snapshot = snapshot(screen);
    // Such desktops do not reliably show what is behind a window that covers the screen.
    selection_->isFrozen = selection_->snapshot && !services_.capture.canExcludeWindows();
    open(screen);
}

std::vector<Rect> AreaSelector::covers() const {
    std::vector<Rect> all = selection_->selection.covers();
    for (Rect& each : all)
        each = flipped(each, request_.screen);
    return all;
}

void AreaSelector::reportCovers() {
    // The caller may end the selection.
    const CoversHandler report = request_.onCovers;
    report(covers());
}

/// Opens the overlay again on the changed screen, with the same pixels selected. Without its screen the
/// selection ends.
void AreaSelector::screensChanged() {
    if (!panel_) return;
    const NSScreen& known = request_.screen;
    const std::optional<NSScreen> now = currentScreen(known, services_.screens);
    const bool isSame =
        now && now->frame == known.frame && now->backingScaleFactor == known.backingScaleFactor;
    if (isSame) return refreshTargets();
    if (!now || request_.onCovers) return finish(std::nullopt);
    const double scale = known.backingScaleFactor / now->backingScaleFactor;
    Start start{selection_->selection.appearance->selection, covers()};
    if (start.area) start.area = flipped(*start.area, known).scaledBy(scale);
    for (Rect& each : start.covers)
        each = each.scaledBy(scale).integral();
    close();
    refreshing_ = RunningTask(services_.executor, reopen(std::move(start)));
}

Task<void> AreaSelector::reopen(Start start) {
    // For the windows below to repaint what the overlay has covered: the picture must not show it.
    co_await sleepFor(services_.executor, std::chrono::milliseconds(200));
    const std::optional<NSScreen> now = currentScreen(request_.screen, services_.screens);
    if (!now) {
        finish(std::nullopt);
        co_return;
    }
    request_.screen = *now;
    Task<std::vector<HoverTarget>> finding = hoverTargets(*now);
    std::vector<HoverTarget> targets = co_await finding;
    create(std::move(targets), start);
}

void AreaSelector::refreshTargets() {
    if (panel_ && !request_.onCovers) refreshing_ = RunningTask(services_.executor, readTargets());
}

Task<void> AreaSelector::readTargets() {
    Task<std::vector<HoverTarget>> finding = hoverTargets(request_.screen);
    std::vector<HoverTarget> targets = co_await finding;
    if (selection_) selection_->selection.setTargets(std::move(targets));
}

std::optional<CGImage> AreaSelector::snapshot(const NSScreen& of) {
    if (!of.displayID) return std::nullopt;
    return services_.screenshots.captureDisplay(*of.displayID);
}

Task<std::vector<HoverTarget>> AreaSelector::hoverTargets(NSScreen on) {
    if (!on.displayID) co_return std::vector<HoverTarget>();
    try {
        Task<SCShareableContent> fetching = fetchShareableContent(services_.capture, services_.executor);
        const SCShareableContent content = co_await fetching;
        co_return lumicrate::hoverTargets(content.windows, services_.capture.CGDisplayBounds(*on.displayID),
                                          services_.process.processIdentifier());
    } catch (const LocalizedError&) {
        // An area can be dragged without them.
        log(LogArea::ui, "selection: the windows cannot be listed, only areas can be selected");
        co_return std::vector<HoverTarget>();
    }
}

void AreaSelector::open(const NSScreen& screen) {
    const Point pointer = services_.screens.mouseLocation();
    if (screen.frame.contains(pointer)) {
        selection_->selection.mouseMoved({pointer.x - screen.frame.minX(), pointer.y - screen.frame.minY()});
    }
    NSPanel::Settings settings;
    settings.frame = screen.frame;
    settings.level = NSPanel::screenSaverLevel;
    settings.canBecomeKey = true;
    log(LogArea::ui, "selection opens on ", stringFromRect(screen.frame), ": ",
        formatPixels(screen.frame.size(), screen.backingScaleFactor), " pixels, ",
        selection_->snapshot ? "with" : "without", " a picture of them");
    panel_ = services_.contents.selection(*selection_)->makePanel(std::move(settings));
    panel_->makeKeyAndOrderFront();
}

void AreaSelector::cancel() {
    if (result_) return finish(std::nullopt);
    // The waiting task notices that it is not the current run.
    if (!panel_) ++runs_;
}

/// Called from the overlay's own event handlers, so the panel is destroyed later, with the waiting task.
void AreaSelector::finish(std::optional<PickedArea> picked) {
    if (const auto waiting = std::exchange(result_, std::nullopt)) waiting->resolve(std::move(picked));
}

void AreaSelector::close() {
    refreshing_.cancel();
    panel_.reset();
    coverChanges_ = {};
    selection_.reset();
}

}  // namespace lumicrate
