// WindowPicker: small pictures of the windows to choose from, for as long as somebody chooses.
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

/// Takes the pictures one at a time, so that the program stays responsive meanwhile. Main thread.
class WindowPicker {
 public:
    /// All must outlive it; without `screenshots` there are no pictures. They are at most `size`, in pixels.
    WindowPicker(Executor& executor, const SourceBar& sources, SCScreenshotManager* screenshots, Size size)
        : executor_(executor), sources_(sources), screenshots_(screenshots), size_(size) {}
    WindowPicker(const WindowPicker&) = delete;
    WindowPicker& operator=(const WindowPicker&) = delete;

    /// Takes the pictures anew, also of windows that come while it is open.
    void open();
    /// Forgets them.
    void close();

    /// Nothing while there is none.
    const CGImage* picture(std::uint32_t windowID) const;
    /// `arrived` is given the window whose picture has come.
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
    std::optional<Subscription> watching_;
    RunningTask taking_;
};

}  // namespace lumicrate
