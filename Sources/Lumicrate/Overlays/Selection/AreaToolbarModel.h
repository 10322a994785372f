// SPDX-License-Identifier: GPL-3.0-or-later
// AreaToolbarModel: what the bars of a selection show, and what their controls do.
#pragma once

#include "Lumicrate/Overlays/Selection/SelectionGeometry.h"
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

/// Connects the bars with the selection, for the lifetime of one selection. Main thread.
class AreaToolbarModel {
 public:
    AreaToolbarModel(std::string title, std::vector<CaptureDevice> connected)
        : confirmTitle(std::move(title)), microphones(std::move(connected)) {}
    AreaToolbarModel(const AreaToolbarModel&) = delete;
    AreaToolbarModel& operator=(const AreaToolbarModel&) = delete;

    Published<AspectPreset> aspect{AspectPreset::custom};
    Published<int> width;   ///< of the selection, pixels
    Published<int> height;  ///< of the selection, pixels
    int pixelStep = 1;      ///< the smallest change of a side, pixels
    const std::string confirmTitle;
    const std::vector<CaptureDevice> microphones;
    /// The title of the picked window; none while no window is picked.
    Published<std::optional<std::string>> windowTitle;
    /// Record the picked window and follow it, instead of recording the area.
    Published<bool> windowOnly;
    /// Parts of the selection are being covered.
    Published<bool> covering;

    // Called by the bars; set by the selection.
    std::function<void(AspectPreset)> onAspect = [](AspectPreset) {};
    /// Pixels. The selection decides about a side that is not given.
    std::function<void(std::optional<int> width, std::optional<int> height)> onSize = [](auto, auto) {};
    std::function<void()> onCancel = [] {};
    std::function<void()> onConfirm = [] {};
    std::function<void()> onFullScreen = [] {};
    std::function<void(bool)> onCovering = [](bool) {};

    // Explanations of the choices of the "Record" picker.
    static std::string areaHelp();
    static std::string windowHelp(const std::string& title);

    std::vector<MenuItem> aspectMenu();
    static std::string label(AspectPreset preset);

    enum class Side { width, height };
    const Published<int>& pixels(Side side) const { return side == Side::width ? width : height; }
    /// Requests the typed length of a side, in pixels. Ignores a text that is not a positive whole number.
    /// The selection may choose another length that fits.
    void commit(Side side, std::string_view text) const;
    /// Requests a length `by` steps longer than the typed one, or than the present one if the text is no
    /// number.
    void step(Side side, std::string_view text, int by) const;

 private:
    void resize(Side side, int pixels) const;
};

}  // namespace lumicrate
