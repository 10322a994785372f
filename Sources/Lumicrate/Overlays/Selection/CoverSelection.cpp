// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Overlays/Selection/CoverSelection.h"

#include "Lumicrate/Overlays/Selection/SelectionKeys.h"
#include "Lumicrate/Recording/RecordingOptions.h"

#include <algorithm>
#include <cmath>

namespace lumicrate {

namespace {

/// A drag of at most this length draws nothing.
constexpr double clickDistance = 4;
/// How far from its point a handle can be grabbed, in each direction.
constexpr double handleReach = 8;
/// With shorter sides only the corners have handles.
constexpr double roomForHandles = 36;
/// The distance of the button from the cover, which leaves its handles free.
constexpr double buttonGap = 10;

Rect insetBy(const Rect& rect, double distance) {
    return {rect.x + distance, rect.y + distance, rect.width - 2 * distance, rect.height - 2 * distance};
}

}  // namespace

std::vector<SelectionCover> CoverSelection::seen() const {
    std::vector<SelectionCover> parts;
    for (std::size_t i = 0; i < covers_.size(); ++i)
        if (const Rect part = visible(i); !part.isEmpty()) parts.push_back({part, i == chosen_});
    return parts;
}

std::vector<Handle> CoverSelection::handles() const {
    if (!chosen_ || visible(*chosen_).isEmpty()) return {};
    const Rect part = visible(*chosen_);
    if (std::min(part.width, part.height) >= roomForHandles) return handlesFor(std::nullopt);
    return {Handle::topLeft, Handle::topRight, Handle::bottomRight, Handle::bottomLeft};
}

std::optional<Rect> CoverSelection::removeButton(const Size& button, const Rect& screen) const {
    const bool isBeingChanged = !std::holds_alternative<std::monostate>(gesture_);
    if (!chosen_ || isBeingChanged || visible(*chosen_).isEmpty()) return std::nullopt;
    const Rect part = visible(*chosen_);
    Rect frame{part.maxX() + buttonGap, part.maxY() - button.height, button.width, button.height};
    if (frame.maxX() > screen.maxX()) frame.x = part.minX() - buttonGap - button.width;
    if (frame.minX() < screen.minX()) frame.x = part.maxX() - buttonGap - button.width;
    return frame.shiftedInside(screen);
}

std::optional<std::size_t> CoverSelection::coverAt(Point at) const {
    for (std::size_t i = covers_.size(); i-- > 0;)
        if (visible(i).contains(at)) return i;
    return std::nullopt;
}

/// A small cover can still be grabbed in its middle.
std::optional<Handle> CoverSelection::handleAt(Point at) const {
    if (!chosen_) return std::nullopt;
    const Rect part = visible(*chosen_);
    const double inside = std::min(handleReach, std::min(part.width, part.height) / 4);
    if (insetBy(part, inside).contains(at)) return std::nullopt;
    for (const Handle each : handles()) {
        const Point point = pointOf(each, part);
        if (std::abs(at.x - point.x) <= handleReach && std::abs(at.y - point.y) <= handleReach) return each;
    }
    return std::nullopt;
}

SelectionCursor CoverSelection::cursorAt(Point at) const {
    using Kind = SelectionCursor::Kind;
    if (std::holds_alternative<Moving>(gesture_)) return {Kind::closedHand};
    if (const auto* resizing = std::get_if<Resizing>(&gesture_)) return {Kind::resize, resizing->handle};
    if (std::holds_alternative<Drawing>(gesture_)) return {};
    if (const auto over = handleAt(at)) return {Kind::resize, *over};
    return {coverAt(at) ? Kind::openHand : Kind::crosshair};
}

// Pointer

void CoverSelection::mouseDown(Point at) {
    if (const auto handle = handleAt(at)) {
        gesture_ = Resizing{*handle, visible(*chosen_)};
        return;
    }
    chosen_ = coverAt(at);
    if (chosen_) {
        gesture_ = Moving{at, visible(*chosen_)};
    } else if (area_.contains(at)) {
        gesture_ = Drawing{at};
    }
}

void CoverSelection::mouseDragged(Point to) {
    if (auto* drawing = std::get_if<Drawing>(&gesture_)) {
        draw(*drawing, to);
    } else if (const auto* moving = std::get_if<Moving>(&gesture_)) {
        // Whole points, so that the size stays the same. A press without a movement keeps what is outside.
        const double dx = std::round(to.x - moving->start.x);
        const double dy = std::round(to.y - moving->start.y);
        if (dx != 0 || dy != 0) covers_[*chosen_] = geometry().move(moving->original, dx, dy);
    } else if (const auto* resizing = std::get_if<Resizing>(&gesture_)) {
        covers_[*chosen_] = geometry().rounded(geometry().resize(resizing->original, resizing->handle, to));
    }
}

void CoverSelection::draw(Drawing& drawing, Point to) {
    if (!drawing.hasBegun) {
        if (std::hypot(to.x - drawing.start.x, to.y - drawing.start.y) <= clickDistance) return;
        if (!add({})) return;
        drawing.hasBegun = true;
    }
    covers_[*chosen_] = geometry().rounded(geometry().rect(drawing.start, geometry().clamped(to)));
}

void CoverSelection::mouseUp() {
    const auto* drawing = std::get_if<Drawing>(&gesture_);
    if (drawing && drawing->hasBegun) {
        const Rect drawn = covers_[*chosen_];
        if (std::min(drawn.width, drawn.height) < minSide) removeChosen();
    }
    gesture_ = std::monostate();
}

// Keys

bool CoverSelection::keyDown(const NSEvent& event) {
    switch (event.keyCode) {
        case selectionKey::n:
            return addInTheMiddle();
        case selectionKey::space:
            return chooseNext();
        case selectionKey::backspace:
        case selectionKey::forwardDelete:
            removeChosen();
            return true;
        default:
            return nudge(event);
    }
}

void CoverSelection::removeChosen() {
    if (!chosen_) return;
    gesture_ = std::monostate();
    covers_.erase(covers_.begin() + static_cast<std::ptrdiff_t>(*chosen_));
    chosen_.reset();
}

void CoverSelection::chooseNone() {
    mouseUp();
    chosen_.reset();
}

bool CoverSelection::add(const Rect& cover) {
    if (covers_.size() == maxCovers) return false;
    covers_.push_back(cover);
    chosen_ = covers_.size() - 1;
    return true;
}

bool CoverSelection::addInTheMiddle() {
    if (area_.isEmpty()) return false;
    const double width = std::max(area_.width / 4, minSide);
    const double height = std::max(area_.height / 4, minSide);
    const Rect middle{area_.midX() - width / 2, area_.midY() - height / 2, width, height};
    add(geometry().rounded(middle));
    return true;
}

/// Of those that are seen.
bool CoverSelection::chooseNext() {
    for (std::size_t i = 1; i <= covers_.size(); ++i) {
        const std::size_t next = (chosen_ ? *chosen_ + i : i - 1) % covers_.size();
        if (visible(next).isEmpty()) continue;
        chosen_ = next;
        return true;
    }
    return false;
}

bool CoverSelection::nudge(const NSEvent& event) {
    const auto step = arrowStep(event);
    if (!step || !chosen_) return false;
    const Rect before = visible(*chosen_);
    const Point corner = pointOf(Handle::bottomRight, before);
    covers_[*chosen_] = step->resizes ? geometry().resize(before, Handle::bottomRight,
                                                          {corner.x + step->dx, corner.y + step->dy})
                                      : geometry().move(before, step->dx, step->dy);
    return true;
}

}  // namespace lumicrate
