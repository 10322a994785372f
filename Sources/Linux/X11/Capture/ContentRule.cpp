#include "Linux/X11/Capture/ContentRule.h"

#include <algorithm>

namespace lumicrate::x11 {

bool ContentRule::names(xcb_window_t window) const {
    return window != XCB_NONE && std::find(named.begin(), named.end(), window) != named.end();
}

std::vector<StackedWindow> ContentRule::layersAt(const PixelRect& rect, const WindowStack& stack) const {
    std::vector<const StackedWindow*> all;  // bottom to top
    const StackedWindow* const recorded = excludes() || named.empty() ? nullptr : stack.find(named.front());
    if (recorded != nullptr) all.push_back(recorded);
    for (const StackedWindow& each : stack.windows())
        if (names(each.id) != excludes() && &each != recorded) all.push_back(&each);

    std::vector<const StackedWindow*> shown;  // top to bottom
    for (auto each = all.rbegin(); each != all.rend(); ++each) {
        if (!(*each)->hasPixels() || (*each)->frame.intersection(rect).isEmpty()) continue;
        shown.push_back(*each);
        if ((*each)->hides(rect)) break;
    }
    std::vector<StackedWindow> layers;
    layers.reserve(shown.size());
    for (auto each = shown.rbegin(); each != shown.rend(); ++each)
        layers.push_back(**each);
    return layers;
}

bool backgroundShows(const PixelRect& rect, const std::vector<StackedWindow>& layers) {
    return layers.empty() || !layers.front().hides(rect);
}

}  // namespace lumicrate::x11
