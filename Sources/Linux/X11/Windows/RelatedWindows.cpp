// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/X11/Windows/RelatedWindows.h"

#include "Linux/X11/Windows/WindowOrder.h"
#include "Support/Log.h"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace lumicrate::x11 {

RelatedWindows::RelatedWindows(const Connection& connection, SCWindowRule rule, xcb_window_t recorded,
                               double scale)
    : connection_(connection), reader_(connection), rule_(std::move(rule)), scale_(scale) {
    members_.push_back({XCB_NONE, reader_.read(recorded).value_or(SCWindowFacts{.windowID = recorded})});
}

std::vector<xcb_window_t> RelatedWindows::topLevels() const {
    std::vector<xcb_window_t> ids;
    for (std::size_t i = 1; i < members_.size(); ++i)
        ids.push_back(members_[i].topLevel);
    return ids;
}

bool RelatedWindows::isMember(xcb_window_t topLevel) const {
    return std::ranges::find(members_, topLevel, &Member::topLevel) != members_.end();
}

bool RelatedWindows::handleChange(const StackChange& change) {
    const bool appeared = change.after.viewable && !change.before.viewable;
    if (appeared) pending_.push_back(change.after.id);
    if (!change.after.viewable && members_.front().topLevel != change.after.id)
        std::erase_if(members_, [&](const Member& each) { return each.topLevel == change.after.id; });
    return appeared;
}

Rect RelatedWindows::points(const PixelRect& frame) const {
    return {frame.x / scale_, frame.y / scale_, frame.width / scale_, frame.height / scale_};
}

std::vector<RelatedWindows::Member> RelatedWindows::candidates(const WindowStack& stack) {
    const std::vector<xcb_window_t> appeared = std::exchange(pending_, {});
    const bool all = std::exchange(pendingAll_, false);
    std::vector<Member> candidates;
    for (const StackedWindow& each : stack.windows()) {
        const bool asked = all || std::ranges::find(appeared, each.id) != appeared.end();
        if (asked && each.hasPixels() && !isMember(each.id))
            candidates.push_back({each.id, factsInside(each)});
    }
    return candidates;
}

std::vector<PixelRect> RelatedWindows::update(const WindowStack& stack) {
    if (pending_.empty() && !pendingAll_) return {};
    Member& recorded = members_.front();
    recorded.topLevel = topLevelOf(connection_, recorded.facts.windowID);
    std::vector<SCWindowFacts> shown;
    for (Member& each : members_) {
        if (const StackedWindow* const known = stack.find(each.topLevel))
            each.facts.frame = points(known->frame);
        shown.push_back(each.facts);
    }
    std::vector<Member> left = candidates(stack);
    std::vector<PixelRect> added;
    // A menu may belong to a dialog that has appeared with it.
    for (bool changed = true; changed;) {
        const auto found =
            std::ranges::find_if(left, [&](const Member& each) { return rule_(each.facts, shown); });
        changed = found != left.end();
        if (!changed) break;
        log(LogArea::capture, "window ", found->facts.windowID, " belongs to the recorded one");
        added.push_back(stack.find(found->topLevel)->frame);
        shown.push_back(found->facts);
        members_.push_back(std::move(*found));
        left.erase(found);
    }
    return added;
}

/// About the application's window in a frame, or about the top-level window itself.
SCWindowFacts RelatedWindows::factsInside(const StackedWindow& topLevel) const {
    const xcb_window_t inside = reader_.insideOf(topLevel.id);
    SCWindowFacts facts = reader_.read(inside).value_or(SCWindowFacts{.windowID = inside});
    facts.frame = points(topLevel.frame);
    return facts;
}

}  // namespace lumicrate::x11
