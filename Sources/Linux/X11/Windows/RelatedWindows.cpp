// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/X11/Windows/RelatedWindows.h"

#include "Linux/X11/Windows/WindowOrder.h"
#include "Support/Log.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>

namespace lumicrate::x11 {

namespace {

/// Longer chains of dialogs do not occur; loops might.
constexpr std::size_t maxChain = 8;

}  // namespace

RelatedWindows::RelatedWindows(const Connection& connection, SCWindowRule rule, xcb_window_t recorded,
                               double scale)
    : connection_(connection),
      atoms_(connection),
      layers_(connection),
      rule_(std::move(rule)),
      scale_(scale) {
    members_.push_back({XCB_NONE, factsOf(recorded, false)});
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

/// About the application's window in a frame, or about the top-level window itself. A frame is known by being
/// the window manager's while a window in it is another client's: WM_STATE may still be missing.
SCWindowFacts RelatedWindows::factsInside(const StackedWindow& topLevel) const {
    const auto attributes = connection_.tryAwait(xcb_get_window_attributes_reply,
                                                 xcb_get_window_attributes(connection_.get(), topLevel.id));
    const bool unmanaged = attributes && attributes->override_redirect != 0;
    xcb_window_t inside = topLevel.id;
    const bool hasState =
        PropertyQuery(connection_, topLevel.id, atoms_.wmState).collect().type() != XCB_NONE;
    std::vector<xcb_window_t> level = {topLevel.id};
    for (int depth = 1; depth < frameDepth && !hasState && inside == topLevel.id && !level.empty(); ++depth) {
        level = childrenOf(connection_, level);
        for (const xcb_window_t each : level)
            if (clientOf(connection_, each) != clientOf(connection_, topLevel.id)) inside = each;
    }
    SCWindowFacts facts = factsOf(inside, unmanaged && inside == topLevel.id);
    facts.frame = points(topLevel.frame);
    return facts;
}

SCWindowFacts RelatedWindows::factsOf(xcb_window_t window, bool unmanaged) const {
    const PropertyQuery leader(connection_, window, atoms_.clientLeader);
    const PropertyQuery types(connection_, window, atoms_.windowType);
    const PropertyQuery transient(connection_, window, XCB_ATOM_WM_TRANSIENT_FOR);
    ProcessQuery processes(connection_, std::array{window});
    const auto first = [](const Property& property) {
        return property.numbers().empty() ? xcb_window_t{XCB_NONE} : property.numbers().front();
    };
    SCWindowFacts facts;
    facts.windowID = window;
    facts.clientID = clientOf(connection_, window);
    facts.leaderID = first(leader.collect());
    facts.unmanaged = unmanaged;
    facts.windowLayer = layers_.layerOf(types.collect(), !unmanaged);
    const xcb_window_t next = first(transient.collect());
    processes.collect();
    facts.processID = processes.processOf(window).value_or(0);
    readTransience(facts, next);
    return facts;
}

/// Toolkits name the root window, the client leader or a helper window that is never shown when they mean the
/// whole program.
void RelatedWindows::readTransience(SCWindowFacts& facts, xcb_window_t next) const {
    if (next == XCB_NONE) return;
    const auto attributes = connection_.tryAwait(xcb_get_window_attributes_reply,
                                                 xcb_get_window_attributes(connection_.get(), next));
    facts.transientForGroup = next == connection_.root() || next == facts.leaderID || !attributes ||
                              attributes->map_state != XCB_MAP_STATE_VIEWABLE;
    while (next != XCB_NONE && next != connection_.root() && facts.transientFor.size() < maxChain) {
        facts.transientFor.push_back(next);
        const Property further = PropertyQuery(connection_, next, XCB_ATOM_WM_TRANSIENT_FOR).collect();
        next = further.numbers().empty() ? xcb_window_t{XCB_NONE} : further.numbers().front();
    }
}

}  // namespace lumicrate::x11
