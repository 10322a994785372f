// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/X11/Windows/FactsReader.h"

#include "Linux/X11/Windows/WindowOrder.h"

#include <array>
#include <cstddef>
#include <string_view>
#include <vector>

namespace lumicrate::x11 {

namespace {

/// Longer chains of dialogs do not occur; loops might.
constexpr std::size_t maxChain = 8;

xcb_window_t first(const Property& property) {
    return property.numbers().empty() ? xcb_window_t{XCB_NONE} : property.numbers().front();
}

}  // namespace

FactsReader::FactsReader(const Connection& connection)
    : connection_(connection), atoms_(connection), layers_(connection) {}

std::optional<SCWindowFacts> FactsReader::read(xcb_window_t window) const {
    const auto attributesCookie = xcb_get_window_attributes(connection_.get(), window);
    const PropertyQuery leader(connection_, window, atoms_.clientLeader);
    const PropertyQuery types(connection_, window, atoms_.windowType);
    const PropertyQuery transient(connection_, window, XCB_ATOM_WM_TRANSIENT_FOR);
    const PropertyQuery classQuery(connection_, window, XCB_ATOM_WM_CLASS);
    ProcessQuery processes(connection_, std::array{window});
    const auto attributes = connection_.tryAwait(xcb_get_window_attributes_reply, attributesCookie);
    SCWindowFacts facts;
    facts.windowID = window;
    facts.clientID = clientOf(connection_, window);
    facts.leaderID = first(leader.collect());
    facts.unmanaged = attributes && attributes->override_redirect != 0;
    facts.windowLayer = layers_.layerOf(types.collect(), !facts.unmanaged);
    const xcb_window_t next = first(transient.collect());
    const Property named = classQuery.collect();
    facts.windowClass = classIn(named.bytes().value_or(std::string_view()));
    processes.collect();
    facts.processID = processes.processOf(window).value_or(0);
    if (!attributes) return std::nullopt;
    readTransience(facts, next);
    return facts;
}

/// Toolkits name the root window, the client leader or a helper window that is never shown when they mean the
/// whole program.
void FactsReader::readTransience(SCWindowFacts& facts, xcb_window_t next) const {
    if (next == XCB_NONE) return;
    const auto attributes = connection_.tryAwait(xcb_get_window_attributes_reply,
                                                 xcb_get_window_attributes(connection_.get(), next));
    facts.transientForGroup = next == connection_.root() || next == facts.leaderID || !attributes ||
                              attributes->map_state != XCB_MAP_STATE_VIEWABLE;
    while (next != XCB_NONE && next != connection_.root() && facts.transientFor.size() < maxChain) {
        facts.transientFor.push_back(next);
        next = first(PropertyQuery(connection_, next, XCB_ATOM_WM_TRANSIENT_FOR).collect());
    }
}

/// A frame is known by being the window manager's while a window in it is another client's: WM_STATE may
/// still be missing.
xcb_window_t FactsReader::insideOf(xcb_window_t topLevel) const {
    xcb_window_t inside = topLevel;
    const bool hasState = PropertyQuery(connection_, topLevel, atoms_.wmState).collect().type() != XCB_NONE;
    std::vector<xcb_window_t> level = {topLevel};
    for (int depth = 1; depth < frameDepth && !hasState && inside == topLevel && !level.empty(); ++depth) {
        level = childrenOf(connection_, level);
        for (const xcb_window_t each : level)
            if (clientOf(connection_, each) != clientOf(connection_, topLevel)) inside = each;
    }
    return inside;
}

}  // namespace lumicrate::x11
