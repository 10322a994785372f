// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/X11/Windows/WindowAtoms.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>
#include <string_view>
#include <vector>

namespace lumicrate::x11 {

namespace {

struct Name {
    xcb_atom_t WindowAtoms::*atom;
    std::string_view text;
};

constexpr std::array names{
    Name{&WindowAtoms::clientList, "_NET_CLIENT_LIST"},
    Name{&WindowAtoms::clientListStacking, "_NET_CLIENT_LIST_STACKING"},
    Name{&WindowAtoms::supportingWmCheck, "_NET_SUPPORTING_WM_CHECK"},
    Name{&WindowAtoms::wmState, "WM_STATE"},
    Name{&WindowAtoms::netWmName, "_NET_WM_NAME"},
    Name{&WindowAtoms::netWmPid, "_NET_WM_PID"},
    Name{&WindowAtoms::netWmState, "_NET_WM_STATE"},
    Name{&WindowAtoms::clientLeader, "WM_CLIENT_LEADER"},
    Name{&WindowAtoms::netFrameExtents, "_NET_FRAME_EXTENTS"},
    Name{&WindowAtoms::gtkFrameExtents, "_GTK_FRAME_EXTENTS"},
    Name{&WindowAtoms::windowType, "_NET_WM_WINDOW_TYPE"},
    Name{&WindowAtoms::windowOpacity, "_NET_WM_WINDOW_OPACITY"},
    Name{&WindowAtoms::utf8String, "UTF8_STRING"},
    Name{&WindowAtoms::compoundText, "COMPOUND_TEXT"},
    Name{&WindowAtoms::stateHidden, "_NET_WM_STATE_HIDDEN"},
};

}  // namespace

WindowAtoms::WindowAtoms(const Connection& connection) {
    std::vector<std::string_view> texts;
    std::ranges::transform(names, std::back_inserter(texts), &Name::text);
    const std::vector<xcb_atom_t> atoms = connection.internAtoms(texts);
    for (std::size_t i = 0; i < names.size(); ++i)
        this->*names[i].atom = atoms[i];
}

bool WindowAtoms::affectsWindowList(xcb_atom_t property) const {
    // The table also contains values, but no property has the name of one.
    return property == XCB_ATOM_WM_NAME || property == XCB_ATOM_WM_CLASS ||
           std::any_of(names.begin(), names.end(),
                       [&](const Name& each) { return this->*each.atom == property; });
}

}  // namespace lumicrate::x11
