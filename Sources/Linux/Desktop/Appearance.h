// Appearance: whether the desktop is to look dark.
#pragma once

#include <functional>
#include <memory>

namespace lumicrate::desktop {

/// Asks the desktop's portal and hears of changes. Where there is no portal, everything is light. Main
/// thread, beside a running Qt event loop.
class Appearance {
 public:
    /// `changed` is called whenever the desktop prefers another look than before, the first of which is
    /// light; also soon after the construction, when the portal has answered.
    explicit Appearance(std::function<void(bool dark)> changed);
    ~Appearance();
    Appearance(const Appearance&) = delete;
    Appearance& operator=(const Appearance&) = delete;

 private:
    class Portal;

    std::unique_ptr<Portal> portal_;
};

}  // namespace lumicrate::desktop
