// SPDX-License-Identifier: GPL-3.0-or-later
// WindowPicker: small pictures of the windows while the user chooses one.
#pragma once

#include "Lumicrate/MainWindow/SourceBar.h"
#include "Platform/SCScreenshotManager.h"
#include "Support/Executor.h"
#include "Support/Geometry.h"
#include "Support/Published.h"
#include "Support/Task.h"

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <utility>

namespace lumicrate {

/// Takes one picture per turn of the event loop, so that the program stays responsive. Main thread.
class WindowPicker {
 public:
    /// All must outlive this object. Pictures are at most `size`, in pixels; there are none without
    /// `screenshots`.
    WindowPicker(Executor& executor, const SourceBar& sources, SCScreenshotManager* screenshots, Size size)
        : executor_(executor), sources_(sources), screenshots_(screenshots), size_(size) {}
    WindowPicker(const WindowPicker&) = delete;
    WindowPicker& operator=(const WindowPicker&) = delete;

    /// Takes new pictures of all windows, and of those that appear until close().
    void open();
    /// Discards the pictures.
    void close();

    /// nullptr if the picture has not been taken or could not be.
    const CGImage* picture(std::uint32_t windowID) const;
    /// `arrived` is called with the window whose picture was taken.
    [[nodiscard]] Subscription observe(std::function<void(std::uint32_t)> arrived) const {
        return arrivals_.add(std::move(arrived));
    }

 private:
    Task<void> takeAll(std::vector<SourceBar::Window> windows);
    void take(std::vector<SourceBar::Window> windows);

    Executor& executor_;
    const SourceBar& sources_;
    SCScreenshotManager* screenshots_;
    Size size_;
    std::map<std::uint32_t, std::optional<CGImage>> pictures_;
    mutable Observers<std::uint32_t> arrivals_;
    std::optional<Subscription> windowChanges_;
    RunningTask taking_;
};

}  // namespace lumicrate
