// The bars of the selection overlay: what they show, and what their controls do.
#pragma once

#include "Lumicrate/Overlays/Selection/AspectPreset.h"
#include "Lumicrate/Shell/MenuItem.h"
#include "Platform/AVCaptureDevice.h"
#include "Support/Published.h"

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace lumicrate {

/// Through which the bars and the selection speak to each other; lives as long as one selection. Main thread.
class AreaToolbarModel {
 public:
    AreaToolbarModel(std::string title, std::vector<CaptureDevice> connected)
        : confirmTitle(std::move(title)), microphones(std::move(connected)) {}
    AreaToolbarModel(const AreaToolbarModel&) = delete;
    AreaToolbarModel& operator=(const AreaToolbarModel&) = delete;

    Published<AspectPreset> aspect{AspectPreset::custom};
    Published<int> width;   ///< of the selection, pixels
    Published<int> height;  ///< of the selection, pixels
    int pixelStep = 1;      ///< by which a side can be changed at least
    const std::string confirmTitle;
    const std::vector<CaptureDevice> microphones;
    /// Of the picked window; none while none is.
    Published<std::optional<std::string>> windowTitle;
    /// Record the picked window, wherever it goes, instead of the area.
    Published<bool> windowOnly;

    // What the bars call; each does nothing until the selection sets it.
    std::function<void(AspectPreset)> onAspect = [](AspectPreset) {};
    /// Pixels; a side that is not given is left to the selection.
    std::function<void(std::optional<int> width, std::optional<int> height)> onSize = [](auto, auto) {};
    std::function<void()> onCancel = [] {};
    std::function<void()> onConfirm = [] {};
    std::function<void()> onFullScreen = [] {};

    // What the choices of the "Record" picker mean, for people.
    static std::string areaHelp();
    static std::string windowHelp(const std::string& title);

    std::vector<MenuItem> aspectMenu();
    static std::string label(AspectPreset preset);

    enum class Side { width, height };
    const Published<int>& pixels(Side side) const { return side == Side::width ? width : height; }
    /// Passes on what was typed for a side, in pixels; a text that is not a positive whole number is ignored.
    /// The selection makes of it what fits.
    void commit(Side side, std::string_view text) const;
    /// Makes a side longer by so many steps than was typed, or than it is, if that is no number.
    void step(Side side, std::string_view text, int by) const;

 private:
    void resize(Side side, int pixels) const;
};

}  // namespace lumicrate
