// SPDX-License-Identifier: GPL-3.0-or-later
// What is seen of the selection.
#include "Lumicrate/Overlays/Selection/SelectionModel.h"
#include "Support/Text.h"

#include <utility>

namespace lumicrate {

namespace {

constexpr double hintDistance = 60;  ///< of the hint's centre from the top of the screen
constexpr double sizeLabelGap = 20;
constexpr double pickBarDistance = 80;  ///< from the bottom of the screen

/// The title of a button inside a sentence: "Record" becomes "record".
std::string lowerCased(std::string text) {
    for (char& each : text)
        if (each >= 'A' && each <= 'Z') each = static_cast<char>(each - 'A' + 'a');
    return text;
}

}  // namespace

void SelectionModel::setRemoveButtonSize(const Size& size) {
    removeButtonSize_ = size;
    publish();
}

std::vector<Rect> SelectionModel::covers() const {
    std::vector<Rect> parts;
    if (isWindowOnly_) return parts;
    for (const SelectionCover& each : covers_.seen())
        parts.push_back(each.rect);
    return parts;
}

void SelectionModel::publish() {
    covers_.setArea(selection_);
    SelectionAppearance now = describe();
    if (now != *appearance) appearance = std::move(now);
}

SelectionAppearance SelectionModel::describe() const {
    SelectionAppearance seen;
    seen.selection = selection_;
    seen.cursor = cursor_;
    if (selection_) {
        describeSelection(seen);
    } else {
        describeTarget(seen);
    }
    if (seen.hint) seen.hint->center = {bounds().midX(), bounds().maxY() - hintDistance};
    const bool magnifies = isMagnifierOn_ || isIn<Resizing>() || (isIn<Drawing>() && selection_);
    if (magnifies) seen.magnified = mouse_;
    if (isToolbarShown_ && selection_) seen.toolbar = toolbarFrame(*selection_, toolbarSize_, bounds());
    if (isPickBarShown_) {
        seen.pickBar = {bounds().midX() - pickBarSize_.width / 2, pickBarDistance, pickBarSize_.width,
                        pickBarSize_.height};
    }
    return seen;
}

void SelectionModel::describeSelection(SelectionAppearance& seen) const {
    if (!isIn<Drawing>() && !isCovering()) seen.handles = handlesFor(geometry().ratio);
    if (!isWindowOnly_) seen.covers = covers_.seen();
    if (isCovering()) {
        seen.coverHandles = covers_.handles();
        seen.removeButton = covers_.removeButton(removeButtonSize_, bounds());
    }
    const bool hasRoomBelow = selection_->minY() - sizeLabelGap > sizeLabelGap;
    seen.sizeLabel = {formatPixels(selection_->size(), settings_.pixelScale),
                      {selection_->midX(),
                       hasRoomBelow ? selection_->minY() - sizeLabelGap : selection_->maxY() + sizeLabelGap}};
    if (!isIn<Adjusting>()) return;
    if (isCovering()) {
        seen.hint = {
            localized("Drag to cover a part of the picture   ·   N: new   ·   Space: next   ·   Del: "
                      "remove   ·   Esc: done"),
            {}};
        return;
    }
    seen.hint = {
        localized("Return or double-click to {}   ·   Drag to move, handles to resize   ·   Click outside to "
                  "pick again   ·   Esc: cancel",
                  {lowerCased(toolbar_.confirmTitle)}),
        {}};
}

void SelectionModel::describeTarget(SelectionAppearance& seen) const {
    seen.highlighted = hovered_;
    if (hovered_) {
        seen.highlightLabel = {
            hovered_->title + "  ·  " + formatPixels(hovered_->rect.size(), settings_.pixelScale),
            {hovered_->rect.midX(), hovered_->rect.midY()}};
    }
    seen.hint = {
        settings_.windowsOnly
            ? settings_.windowHint.value_or(localized("Click the window to record   ·   Esc: cancel"))
        : !settings_.hasWindows
            ? localized("Drag to select an area   ·   F: full screen   ·   Esc: cancel")
            : localized("Click a window   ·   Drag to select an area   ·   F: full screen   ·   Esc: cancel"),
        {}};
}

}  // namespace lumicrate
