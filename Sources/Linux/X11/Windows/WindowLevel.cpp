#include "Linux/X11/Windows/WindowLevel.h"

#include <algorithm>
#include <array>

namespace lumicrate::x11 {

namespace {

constexpr int unmanagedLayer = 25;

struct LayerOfType {
    xcb_atom_t WindowAtoms::*type;
    int layer;
};

constexpr std::array layers{
    LayerOfType{&WindowAtoms::typeDesktop, -1000},   LayerOfType{&WindowAtoms::typeNormal, 0},
    LayerOfType{&WindowAtoms::typeDialog, 0},        LayerOfType{&WindowAtoms::typeUtility, 0},
    LayerOfType{&WindowAtoms::typeSplash, 0},        LayerOfType{&WindowAtoms::typeToolbar, 3},
    LayerOfType{&WindowAtoms::typeMenu, 3},          LayerOfType{&WindowAtoms::typeDock, 20},
    LayerOfType{&WindowAtoms::typeNotification, 30}, LayerOfType{&WindowAtoms::typeDropdownMenu, 101},
    LayerOfType{&WindowAtoms::typePopupMenu, 101},   LayerOfType{&WindowAtoms::typeCombo, 101},
    LayerOfType{&WindowAtoms::typeTooltip, 102},     LayerOfType{&WindowAtoms::typeDragAndDrop, 500},
};

int layerOfTypes(std::span<const xcb_atom_t> types, const WindowAtoms& atoms) {
    for (const xcb_atom_t type : types) {
        const auto found =
            std::ranges::find_if(layers, [&](const LayerOfType& each) { return atoms.*each.type == type; });
        if (found != layers.end()) return found->layer;
    }
    return 0;
}

}  // namespace

int windowLayer(std::span<const xcb_atom_t> types, bool managed, const WindowAtoms& atoms) {
    const int layer = layerOfTypes(types, atoms);
    return managed || layer != 0 ? layer : unmanagedLayer;
}

}  // namespace lumicrate::x11
