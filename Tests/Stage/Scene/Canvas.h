// Canvas: the window that a scene is played in, and the way to more windows of its own.
#pragma once

#include "Tests/Stage/Scene/Surface.h"

#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace lumicrate::stage {

class Canvas : public Surface {
 public:
    struct Options {
        std::string title;
        // An ordinary window of this size; without it an unmanaged one that covers the whole screen.
        std::optional<std::pair<int, int>> size;
    };

    // Opens the window on $DISPLAY and returns when it can be seen. Throws std::runtime_error.
    explicit Canvas(const Options& options);

    // Another window, unmanaged, on top of all. Throws std::runtime_error.
    std::unique_ptr<Surface> openWindow(const Area& area, const std::string& title);
    // Returns when the server has carried out everything, in all windows.
    void sync();

 private:
    Canvas(const std::shared_ptr<XcbConnection>& connection, const Options& options);
};

}  // namespace lumicrate::stage
