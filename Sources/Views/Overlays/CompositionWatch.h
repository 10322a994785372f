// SPDX-License-Identifier: GPL-3.0-or-later
// CompositionWatch: observes whether a compositing manager draws the screen, so that windows can be
// translucent.
#pragma once

#include "Support/Published.h"

#include <QAbstractNativeEventFilter>
#include <cstdint>

namespace lumicrate::views {

/// Needs a QGuiApplication and its event loop. On a desktop other than X11 a compositing manager is always
/// assumed.
class CompositionWatch final : private QAbstractNativeEventFilter {
 public:
    CompositionWatch();
    ~CompositionWatch() override;
    CompositionWatch(const CompositionWatch&) = delete;
    CompositionWatch& operator=(const CompositionWatch&) = delete;

    const Published<bool>& isActive() const { return active_; }

 private:
    bool nativeEventFilter(const QByteArray& kind, void* message, qintptr* result) override;
    void watchManager();

    Published<bool> active_{true};
    std::uint32_t managerSelection_ = 0;
    std::uint8_t notifyEvent_ = 0;
};

}  // namespace lumicrate::views
