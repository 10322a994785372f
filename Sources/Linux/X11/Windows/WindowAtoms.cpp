// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/X11/Windows/WindowAtoms.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

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
    Name{&WindowAtoms::netFrameExtents, "_NET_FRAME_EXTENTS"},
    Name{&WindowAtoms::gtkFrameExtents, "_GTK_FRAME_EXTENTS"},
    Name{&WindowAtoms::windowType, "_NET_WM_WINDOW_TYPE"},
    Name{&WindowAtoms::windowOpacity, "_NET_WM_WINDOW_OPACITY"},
    Name{&WindowAtoms::utf8String, "UTF8_STRING"},
    Name{&WindowAtoms::compoundText, "COMPOUND_TEXT"},
    Name{&WindowAtoms::stateHidden, "_NET_WM_STATE_HIDDEN"},
    Name{&WindowAtoms::typeDesktop, "_NET_WM_WINDOW_TYPE_DESKTOP"},
    Name{&WindowAtoms::typeDock, "_NET_WM_WINDOW_TYPE_DOCK"},
    Name{&WindowAtoms::typeToolbar, "_NET_WM_WINDOW_TYPE_TOOLBAR"},
    Name{&WindowAtoms::typeMenu, "_NET_WM_WINDOW_TYPE_MENU"},
    Name{&WindowAtoms::typeUtility, "_NET_WM_WINDOW_TYPE_UTILITY"},
    Name{&WindowAtoms::typeSplash, "_NET_WM_WINDOW_TYPE_SPLASH"},
    Name{&WindowAtoms::typeDialog, "_NET_WM_WINDOW_TYPE_DIALOG"},
    Name{&WindowAtoms::typeNormal, "_NET_WM_WINDOW_TYPE_NORMAL"},
    Name{&WindowAtoms::typeDropdownMenu, "_NET_WM_WINDOW_TYPE_DROPDOWN_MENU"},
    Name{&WindowAtoms::typePopupMenu, "_NET_WM_WINDOW_TYPE_POPUP_MENU"},
    Name{&WindowAtoms::typeCombo, "_NET_WM_WINDOW_TYPE_COMBO"},
    Name{&WindowAtoms::typeTooltip, "_NET_WM_WINDOW_TYPE_TOOLTIP"},
    Name{&WindowAtoms::typeNotification, "_NET_WM_WINDOW_TYPE_NOTIFICATION"},
    Name{&WindowAtoms::typeDragAndDrop, "_NET_WM_WINDOW_TYPE_DND"},
};

}  // namespace

WindowAtoms::WindowAtoms(const Connection& connection) {
    std::array<xcb_intern_atom_cookie_t, names.size()> cookies{};
    for (std::size_t i = 0; i < names.size(); ++i) {
        const std::string_view text = names[i].text;
        cookies[i] =
            xcb_intern_atom(connection.get(), 0, static_cast<std::uint16_t>(text.size()), text.data());
    }
    for (std::size_t i = 0; i < names.size(); ++i)
        this->*names[i].atom = connection.await(xcb_intern_atom_reply, cookies[i])->atom;
}

bool WindowAtoms::affectsWindowList(xcb_atom_t property) const {
    // The table also contains values, but no property has the name of one.
    return property == XCB_ATOM_WM_NAME || property == XCB_ATOM_WM_CLASS ||
           std::any_of(names.begin(), names.end(),
                       [&](const Name& each) { return this->*each.atom == property; });
}

}  // namespace lumicrate::x11
