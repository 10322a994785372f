// SPDX-License-Identifier: GPL-3.0-or-later
// Screens: the screens that Qt reports, for placing panels on them.
#pragma once

#include "Platform/NSScreen.h"
#include "Platform/ScreenCaptureKit.h"

#include <QObject>
#include <QTimer>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

class QScreen;

namespace lumicrate::views {

/// Needs a QGuiApplication.
class Screens final : public QObject, public NSScreens {
 public:
    /// The capture's display for the screen that Qt calls by its connector, and that has this frame: points,
    /// y down.
    using FindDisplay =
        std::function<std::optional<SCDisplay>(const std::string& connector, const Rect& frame)>;

    explicit Screens(FindDisplay findDisplay);

    std::vector<NSScreen> screens() const override;
    Point mouseLocation() const override;
    Subscription observe(std::function<void()> changed) const override { return changes_.add(changed); }

 private:
    void follow(const QScreen* screen);
    void announce();

    FindDisplay findDisplay_;
    mutable Observers<> changes_;
    double scale_;       ///< at the last announcement
    QTimer announcing_;  ///< collects the many signals of one change
};

}  // namespace lumicrate::views
