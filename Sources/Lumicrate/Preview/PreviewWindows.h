// SPDX-License-Identifier: GPL-3.0-or-later
// PreviewWindows: the open preview windows, at most one for a file.
#pragma once

#include "Lumicrate/Preview/PreviewModel.h"
#include "Lumicrate/Recording/ScreenRecorder.h"
#include "Platform/NSWindow.h"
#include "Support/Geometry.h"

#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <vector>

namespace lumicrate {

/// Main thread.
class PreviewWindows {
 public:
    using WindowFactory = std::function<std::unique_ptr<NSWindow>(PreviewModel&)>;

    /// The room below the picture for the facts line and the tools, in points.
    static constexpr int toolsHeight = 52;

    PreviewWindows(PreviewModel::Services services, WindowFactory makeWindow);
    PreviewWindows(const PreviewWindows&) = delete;
    PreviewWindows& operator=(const PreviewWindows&) = delete;

    /// Opens the preview of a file, or brings it to the front.
    void show(const std::filesystem::path& url);
    /// Opens the preview of each recording that is saved, if the preference "openPreview" is on, and pauses
    /// all previews when a recording starts. `recorder` must outlive this object.
    void follow(const ScreenRecorder& recorder);
    void pauseAll();
    bool isEmpty() const { return windows_.empty(); }

    /// Sizes the window for a video of this size, or for sound. The video is shrunk to fit the screen, and
    /// never enlarged. Example: 3840 × 2160 on a screen of 1920 × 1080 gives 1585 × 944 points.
    static void fit(NSWindow& window, std::optional<Size> videoSize);

 private:
    struct Entry {
        std::unique_ptr<PreviewModel> model;
        std::unique_ptr<NSWindow> window;
    };

    void close(NSWindow* window);

    PreviewModel::Services services_;
    WindowFactory makeWindow_;
    std::map<NSWindow*, Entry> windows_;
    std::vector<Subscription> following_;
};

}  // namespace lumicrate
