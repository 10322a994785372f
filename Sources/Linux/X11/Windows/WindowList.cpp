// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/X11/Windows/WindowList.h"

#include "Linux/X11/Screens/DesktopScale.h"
#include "Linux/X11/Server/Connection.h"
#include "Linux/X11/Windows/WindowFacts.h"
#include "Linux/X11/Windows/WindowOrder.h"
#include "Linux/X11/Windows/WindowText.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>
#include <utility>

namespace lumicrate::x11 {

namespace {

/// Minimised. Some window managers keep such windows mapped, below everything else, to show thumbnails.
bool isHidden(const Property& state, const WindowAtoms& atoms) {
    return std::ranges::find(state.numbers(), atoms.stateHidden) != state.numbers().end();
}

std::optional<std::string> titleFrom(const Property& netName, const Property& name,
                                     const WindowAtoms& atoms) {
    if (const auto bytes = netName.bytes()) return textFromUtf8(*bytes);
    const auto bytes = name.bytes();
    if (!bytes) return std::nullopt;
    if (name.type() == atoms.utf8String) return textFromUtf8(*bytes);
    if (name.type() == atoms.compoundText) return textFromCompoundText(*bytes);
    return textFromLatin1(*bytes);
}

/// The window's own opacity, or else its frame's.
double opacityFrom(const Property& own, const Property& ofFrame) {
    constexpr double full = 0xffffffff;
    for (const Property* each : {&own, &ofFrame})
        if (const auto numbers = each->numbers(); !numbers.empty()) return numbers.front() / full;
    return 1;
}

/// All queries about one window.
class WindowQuery {
 public:
    WindowQuery(const Connection& connection, const WindowAtoms& atoms, const OrderedWindow& window,
                bool hasManager)
        : atoms_(&atoms),
          window_(window),
          frame_(connection, atoms, window, hasManager),
          netName_(connection, window.window, atoms.netWmName),
          name_(connection, window.window, XCB_ATOM_WM_NAME),
          type_(connection, window.window, atoms.windowType),
          state_(connection, window.window, atoms.netWmState),
          opacity_(connection, window.window, atoms.windowOpacity),
          frameOpacity_(connection, window.topLevel, atoms.windowOpacity),
          owner_(connection, atoms, window.window) {}

    /// Nothing for a window that is minimised or gone.
    std::optional<SCWindow> collect(const ProcessQuery& processes, const WindowTypeLayers& layers,
                                    double scale, bool composited) const {
        const auto frame = frame_.collect();
        const Property netName = netName_.collect();
        const Property name = name_.collect();
        const Property type = type_.collect();
        const Property state = state_.collect();
        const Property opacity = opacity_.collect();
        const Property frameOpacity = frameOpacity_.collect();
        SCWindow window;
        window.owningApplication = owner_.collect(processes.processOf(window_.window));
        if (!frame || isHidden(state, *atoms_)) return std::nullopt;
        window.windowID = window_.window;
        window.frame = pointsFromPixels(*frame, scale);
        window.title = titleFrom(netName, name, *atoms_);
        window.windowLayer = layers.layerOf(type, window_.managed);
        if (composited) window.alpha = opacityFrom(opacity, frameOpacity);
        return window;
    }

 private:
    const WindowAtoms* atoms_;
    OrderedWindow window_;
    WindowFrameQuery frame_;
    PropertyQuery netName_;
    PropertyQuery name_;
    PropertyQuery type_;
    PropertyQuery state_;
    PropertyQuery opacity_;
    PropertyQuery frameOpacity_;
    WindowOwnerQuery owner_;
};

}  // namespace

WindowList::WindowList(const std::string& displayName, double scale)
    : connection_(displayName),
      atoms_(connection_),
      layers_(connection_),
      compositor_(connection_),
      scale_(scale) {}

std::vector<SCWindow> WindowList::windows() const {
    const WindowOrder order = readWindowOrder(connection_, atoms_);
    const bool composited = isComposited();
    std::vector<xcb_window_t> numbers;
    std::vector<WindowQuery> queries;
    for (const OrderedWindow& each : order.windows) {
        numbers.push_back(each.window);
        queries.emplace_back(connection_, atoms_, each, order.hasManager);
    }
    ProcessQuery processes(connection_, numbers);
    processes.collect();
    std::vector<SCWindow> windows;
    for (const WindowQuery& query : queries) {
        if (auto window = query.collect(processes, layers_, scale_, composited))
            windows.push_back(*std::move(window));
    }
    return windows;
}

/// As of the last reply: events of earlier changes have arrived with it.
bool WindowList::isComposited() const {
    connection_.processQueuedEvents(
        [this](const xcb_generic_event_t& event) { compositor_.handleEvent(event); });
    return compositor_.active();
}

bool WindowList::exists(std::uint32_t windowID) const {
    return connection_.tryAwait(xcb_get_window_attributes_reply,
                                xcb_get_window_attributes(connection_.get(), windowID)) != nullptr;
}

std::optional<Rect> WindowList::bounds(std::uint32_t windowID) const {
    const xcb_window_t topLevel = topLevelOf(connection_, windowID);
    if (topLevel == XCB_NONE) return std::nullopt;
    const ManagedWindows managed = readManagedWindows(connection_, atoms_);
    const auto attributesCookie = xcb_get_window_attributes(connection_.get(), windowID);
    const PropertyQuery wmStateQuery(connection_, windowID, atoms_.wmState);
    const PropertyQuery stateQuery(connection_, windowID, atoms_.netWmState);
    const WindowFrameQuery frameQuery(connection_, atoms_, {windowID, topLevel, false}, managed.known);
    const auto attributes = connection_.tryAwait(xcb_get_window_attributes_reply, attributesCookie);
    const Property wmState = wmStateQuery.collect();
    const Property state = stateQuery.collect();
    const auto frame = frameQuery.collect();

    const bool isListed = std::ranges::find(managed.windows, windowID) != managed.windows.end();
    const bool isPartOfWindow = topLevel != windowID && !isListed && wmState.type() == XCB_NONE;
    if (!frame || !attributes || attributes->map_state != XCB_MAP_STATE_VIEWABLE || isPartOfWindow ||
        isHidden(state, atoms_))
        return std::nullopt;
    return pointsFromPixels(*frame, scale_);
}

}  // namespace lumicrate::x11
