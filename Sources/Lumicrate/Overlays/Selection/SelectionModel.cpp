// SPDX-License-Identifier: GPL-3.0-or-later
// What the user does: commands, the pointer and keys.
#include "Lumicrate/Overlays/Selection/SelectionModel.h"

#include "Lumicrate/Overlays/Selection/SelectionKeys.h"
#include "Support/Log.h"
#include "Support/Text.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace lumicrate {

namespace {

/// A drag of at most this length counts as a click.
constexpr double clickDistance = 4;
/// The maximum distance from its point at which a handle can be grabbed, in each direction.
constexpr double handleReach = 8;

std::vector<Rect> rectsOf(const std::vector<HoverTarget>& targets) {
    std::vector<Rect> rects;
    for (const HoverTarget& each : targets)
        rects.push_back(each.rect);
    return rects;
}

}  // namespace

SelectionModel::SelectionModel(Settings settings, AreaToolbarModel& toolbar, OnFinish onFinish)
    : settings_(std::move(settings)),
      toolbar_(toolbar),
      onFinish_(std::move(onFinish)),
      snapping_(bounds(), rectsOf(settings_.targets)),
      covers_(settings_.covers) {
    // Sides are whole points.
    toolbar_.pixelStep = static_cast<int>(std::ceil(settings_.pixelScale));
    toolbar_.onAspect = [this](AspectPreset preset) { applyAspect(preset); };
    toolbar_.onSize = [this](auto width, auto height) { applySize(width, height); };
    toolbar_.onCancel = [this] { cancel(); };
    toolbar_.onConfirm = [this] { confirm(); };
    toolbar_.onFullScreen = [this] { selectFullScreen(); };
    toolbar_.onCovering = [this](bool covering) { setCovering(covering); };
    windowOnlyChanges_ = toolbar_.windowOnly.observe([this](bool windowOnly) {
        isWindowOnly_ = windowOnly;
        if (windowOnly) setCovering(false);
        if (isIn<Adjusting>()) publish();
    });
    publish();
}

SelectionGeometry SelectionModel::geometry() const {
    return {bounds(), ratioOf(*toolbar_.aspect)};
}

void SelectionModel::setBarSizes(const Size& toolbar, const Size& pickBar) {
    toolbarSize_ = toolbar;
    pickBarSize_ = pickBar;
    publish();
}

void SelectionModel::setTargets(std::vector<HoverTarget> targets) {
    if (targets == settings_.targets) return;
    settings_.targets = std::move(targets);
    snapping_ = EdgeSnapping(bounds(), rectsOf(settings_.targets));
    if (isIn<Picking>()) hovered_ = mouse_ ? target(*mouse_) : std::nullopt;
    if (pickedWindow_ && isIn<Adjusting>()) followPickedWindow();
    publish();
}

void SelectionModel::followPickedWindow() {
    const auto now = std::ranges::find(settings_.targets, pickedWindow_->windowID, &HoverTarget::windowID);
    if (now != settings_.targets.end()) {
        setPickedWindow(*now);
        if (now->rect != selection_) adjust(now->rect);
        return;
    }
    const bool recordsOnlyIt = *toolbar_.windowOnly;
    setPickedWindow(std::nullopt);
    if (!recordsOnlyIt) return;
    selection_.reset();
    mode_ = Picking{};
    isToolbarShown_ = false;
    isPickBarShown_ = true;
    hovered_ = mouse_ ? target(*mouse_) : std::nullopt;
    updateCursor();
}

// Commands

void SelectionModel::preselect(const Rect& rect) {
    const Rect inside = geometry().rounded(rect.intersection(bounds()));
    const bool isLittle =
        inside.width < SelectionGeometry::minSide || inside.height < SelectionGeometry::minSide;
    if (isLittle && !settings_.coversOnly) return;
    adjust(inside);
    if (settings_.coversOnly) setCovering(true);
}

void SelectionModel::selectFullScreen() {
    if (settings_.windowsOnly) return;
    setPickedWindow(std::nullopt);
    adjust(bounds());
}

void SelectionModel::applyAspect(AspectPreset preset) {
    const SelectionGeometry shaped{bounds(), ratioOf(preset)};
    if (!selection_ || !shaped.ratio) return publish();
    setPickedWindow(std::nullopt);
    adjust(shaped.rounded(shaped.reshape(*selection_)));
}

void SelectionModel::applySize(std::optional<int> widthPixels, std::optional<int> heightPixels) {
    if (!selection_) return;
    const auto points = [this](std::optional<int> pixels) {
        return pixels ? std::optional(*pixels / settings_.pixelScale) : std::nullopt;
    };
    const Rect sized = geometry().resized(*selection_, points(widthPixels), points(heightPixels));
    setPickedWindow(std::nullopt);
    adjust(geometry().rounded(sized));
}

void SelectionModel::setCovering(bool covering) {
    const bool can = selection_ && isIn<Adjusting>() && !isWindowOnly_;
    if (covering && !can) return;
    if (!covering) covers_.chooseNone();
    if (covering != isCovering()) toolbar_.covering = covering;
    if (selection_ && isIn<Adjusting>()) showToolbar();
    updateCursor();
    publish();
}

void SelectionModel::removeCover() {
    covers_.removeChosen();
    publish();
}

void SelectionModel::confirm() {
    if (!selection_) return;
    const bool followsWindow = pickedWindow_ && *toolbar_.windowOnly;
    finish(selection_, followsWindow ? pickedWindow_->windowID : std::nullopt);
}

void SelectionModel::cancel() {
    finish(std::nullopt, std::nullopt);
}

void SelectionModel::finish(std::optional<Rect> rect, std::optional<std::uint32_t> windowID) {
    const OnFinish callOnce = std::exchange(onFinish_, nullptr);
    if (!callOnce) return;
    log(LogArea::ui, "selection ",
        !rect      ? "cancelled"
        : windowID ? "confirmed: a window"
                   : "confirmed: an area");
    callOnce(rect, windowID);
}

// Pointer

std::optional<HoverTarget> SelectionModel::target(Point at) const {
    const auto found = std::ranges::find_if(settings_.targets,
                                            [at](const HoverTarget& each) { return each.rect.contains(at); });
    if (found != settings_.targets.end()) return *found;
    if (settings_.windowsOnly) return std::nullopt;
    return HoverTarget{bounds(), localized("Full Screen"), std::nullopt};
}

std::optional<Handle> SelectionModel::handle(Point at, const Rect& in) const {
    for (const Handle each : handlesFor(geometry().ratio)) {
        const Point point = pointOf(each, in);
        if (std::abs(at.x - point.x) <= handleReach && std::abs(at.y - point.y) <= handleReach) return each;
    }
    return std::nullopt;
}

void SelectionModel::mouseMoved(Point location) {
    mouse_ = location;
    if (isIn<Picking>()) hovered_ = target(location);
    updateCursor();
    publish();
}

void SelectionModel::mouseExited() {
    mouse_.reset();
    if (isIn<Picking>()) hovered_.reset();
    updateCursor();
    publish();
}

void SelectionModel::mouseDown(const MouseEvent& event) {
    mouse_ = event.location;
    if (settings_.windowsOnly) {
        const auto clicked = target(event.location);
        if (clicked && clicked->windowID) finish(clicked->rect, clicked->windowID);
        return;
    }
    if (isCovering()) {
        covers_.mouseDown(event.location);
        updateCursor();
    } else if (isIn<Adjusting>() && selection_) {
        const bool confirms = event.clickCount == 2 && selection_->contains(event.location) &&
                              !handle(event.location, *selection_);
        if (confirms) return confirm();
        pressWhileAdjusting(event);
    } else {
        mode_ = Drawing{event.location, event.snaps};
    }
    isToolbarShown_ = false;
    isPickBarShown_ = false;
    publish();
}

void SelectionModel::pressWhileAdjusting(const MouseEvent& event) {
    if (const auto taken = handle(event.location, *selection_)) {
        mode_ = Resizing{*taken, *selection_};
    } else if (selection_->contains(event.location)) {
        mode_ = Moving{event.location, *selection_};
        cursor_ = {SelectionCursor::Kind::closedHand};
    } else {
        selection_.reset();
        setPickedWindow(std::nullopt);
        hovered_ = target(event.location);
        mode_ = Drawing{event.location, event.snaps};
        updateCursor();
    }
}

void SelectionModel::mouseDragged(const MouseEvent& event) {
    MouseEvent inside = event;
    inside.location = geometry().clamped(event.location);
    mouse_ = inside.location;
    if (isCovering()) {
        covers_.mouseDragged(inside.location);
    } else if (const auto* drawing = std::get_if<Drawing>(&mode_)) {
        drag(*drawing, inside);
    } else if (const auto* moving = std::get_if<Moving>(&mode_)) {
        drag(*moving, inside);
    } else if (const auto* resizing = std::get_if<Resizing>(&mode_)) {
        drag(*resizing, inside);
    }
    publish();
}

void SelectionModel::drag(const Drawing& drawing, const MouseEvent& event) {
    const double distance =
        std::hypot(event.location.x - drawing.start.x, event.location.y - drawing.start.y);
    if (!selection_ && distance <= clickDistance) return;
    const Point from = pixelEdge(geometry().clamped(drawing.start));
    const Point to = pixelEdge(event.location);
    selection_ =
        geometry().rect(drawing.snaps ? snapping_.point(from) : from, event.snaps ? snapping_.point(to) : to);
}

void SelectionModel::drag(const Moving& moving, const MouseEvent& event) {
    const Rect free = geometry().move(moving.original, event.location.x - moving.start.x,
                                      event.location.y - moving.start.y);
    // A press without a movement must not snap.
    const bool snaps = event.snaps && free != moving.original;
    selection_ = snaps ? snapping_.moved(free).shiftedInside(geometry().bounds) : free;
}

void SelectionModel::drag(const Resizing& resizing, const MouseEvent& event) {
    const Point to = pixelEdge(event.location);
    selection_ =
        geometry().resize(resizing.original, resizing.handle, event.snaps ? snapping_.point(to) : to);
}

void SelectionModel::mouseUp() {
    if (isCovering()) {
        covers_.mouseUp();
        adjust(*selection_);
    } else if (const auto* moving = std::get_if<Moving>(&mode_)) {
        finishGesture(moving->original);
    } else if (const auto* resizing = std::get_if<Resizing>(&mode_)) {
        finishGesture(resizing->original);
    } else if (isIn<Drawing>()) {
        const bool isDrawn = selection_ && selection_->width >= SelectionGeometry::minSide &&
                             selection_->height >= SelectionGeometry::minSide;
        if (!isDrawn) return pickHovered();
        setPickedWindow(std::nullopt);
        adjust(geometry().rounded(*selection_));
    }
}

/// A click without a movement keeps the rectangle, even if the arrow keys have moved it between whole points.
void SelectionModel::finishGesture(const Rect& original) {
    const Rect now = selection_ == original ? original : geometry().rounded(*selection_);
    if (now != original) setPickedWindow(std::nullopt);
    adjust(now);
}

/// After a click: selects what is under the pointer.
void SelectionModel::pickHovered() {
    const Rect base = hovered_ ? hovered_->rect : bounds();
    if (geometry().ratio) {
        setPickedWindow(std::nullopt);
        return adjust(geometry().rounded(geometry().largestWithin(base)));
    }
    setPickedWindow(hovered_ && hovered_->windowID ? hovered_ : std::nullopt);
    adjust(base);
}

void SelectionModel::setPickedWindow(std::optional<HoverTarget> window) {
    pickedWindow_ = std::move(window);
    const auto title = pickedWindow_ ? std::optional(pickedWindow_->title) : std::nullopt;
    if (title != *toolbar_.windowTitle) toolbar_.windowTitle = title;
    if (!title && *toolbar_.windowOnly) toolbar_.windowOnly = false;
}

void SelectionModel::adjust(const Rect& selection) {
    if (selection != selection_ || !isIn<Adjusting>())
        log(LogArea::ui, "selected ", stringFromRect(selection), pickedWindow_ ? ", a window" : "");
    selection_ = selection;
    mode_ = Adjusting{};
    isPickBarShown_ = false;
    showToolbar();
    updateCursor();
    publish();
}

void SelectionModel::showToolbar() {
    isToolbarShown_ = true;
    const auto show = [this](Published<int>& side, double points) {
        const int pixels = wholePixels(points, settings_.pixelScale);
        if (pixels != *side) side = pixels;
    };
    show(toolbar_.width, selection_->width);
    show(toolbar_.height, selection_->height);
}

/// The point that the pixel under the pointer stands for: its top left corner, but on the last pixel of the
/// screen the screen's edge, which could not be reached otherwise. On a screen of 1200 pixels x = 300.5 gives
/// 300, x = 1199.5 gives 1200.
Point SelectionModel::pixelEdge(Point inside) const {
    constexpr double slack = 1e-6;
    const double scale = settings_.pixelScale;
    const double right = settings_.screen.width * scale;
    const double top = settings_.screen.height * scale;
    const double column = std::floor(inside.x * scale + slack);
    const double row = std::ceil(inside.y * scale - slack);
    return {column >= right - 1 ? settings_.screen.width : column / scale,
            row <= 1 ? 0 : std::min(row, top) / scale};
}

void SelectionModel::updateCursor() {
    cursor_ = {};
    if (!isIn<Adjusting>() || !selection_ || !mouse_) return;
    if (isCovering()) {
        cursor_ = covers_.cursorAt(*mouse_);
    } else if (const auto over = handle(*mouse_, *selection_)) {
        cursor_ = {SelectionCursor::Kind::resize, *over};
    } else if (selection_->contains(*mouse_)) {
        cursor_.kind = SelectionCursor::Kind::openHand;
    }
}

// Keys

bool SelectionModel::keyDown(const NSEvent& event) {
    if (event.keyCode == selectionKey::escape) {
        isCovering() && !settings_.coversOnly ? setCovering(false) : cancel();
        return true;
    }
    if (settings_.windowsOnly) return false;
    if (isCovering() && covers_.keyDown(event)) {
        publish();
        return true;
    }
    switch (event.keyCode) {
        case selectionKey::f:
        case selectionKey::space:
            if (!isIn<Picking>()) return false;
            selectFullScreen();
            return true;
        case selectionKey::enterReturn:
        case selectionKey::enter:
            if (!isIn<Adjusting>() || !selection_) return false;
            confirm();
            return true;
        case selectionKey::c:
            if (!settings_.coversOnly) setCovering(!isCovering());
            return true;
        case selectionKey::m:
            isMagnifierOn_ = !isMagnifierOn_;
            publish();
            return true;
        default:
            return !isCovering() && nudge(event);
    }
}

/// Moves by one pixel, with Shift by ten; with Option moves only the right and bottom edges.
bool SelectionModel::nudge(const NSEvent& event) {
    const auto arrow = arrowStep(event);
    if (!arrow || !isIn<Adjusting>() || !selection_) return false;
    const double dx = arrow->dx / settings_.pixelScale;
    const double dy = arrow->dy / settings_.pixelScale;
    const Rect before = *selection_;
    const Rect after = arrow->resizes ? stretched(before, dx, -dy) : geometry().move(before, dx, dy);
    if (after != before) setPickedWindow(std::nullopt);
    adjust(after);
    return true;
}

Rect SelectionModel::stretched(const Rect& before, double wider, double taller) const {
    const SelectionGeometry shape = geometry();
    Size size{before.width + wider, before.height + taller};
    if (shape.ratio && wider == 0) size.width = size.height * *shape.ratio;
    if (shape.ratio) size.height = size.width / *shape.ratio;
    const Rect after =
        shape.resize(before, Handle::bottomRight, {before.minX() + size.width, before.maxY() - size.height});
    return shape.ratio ? shape.rounded(after) : after;
}

}  // namespace lumicrate
