// CompositionWatch: knows whether a compositing manager draws the screen, so that windows can be seen
// through.
#pragma once

#include "Support/Published.h"

#include <QAbstractNativeEventFilter>
#include <cstdint>

namespace lumicrate::views {

/// Needs a QGuiApplication, and hears through its event loop. On a desktop that is not X11 there always is
/// one.
class CompositionWatch final : private QAbstractNativeEventFilter {
 public:
    CompositionWatch();
    ~CompositionWatch() override;
    CompositionWatch(const CompositionWatch&) = delete;
    CompositionWatch& operator=(const CompositionWatch&) = delete;

    const Published<bool>& isActive() const { return active_; }

 private:
    bool nativeEventFilter(const QByteArray& kind, void* message, qintptr* result) override;
    void watchSelection();

    Published<bool> active_{true};
    std::uint32_t selection_ = 0;
    std::uint8_t notifyEvent_ = 0;
};

}  // namespace lumicrate::views
