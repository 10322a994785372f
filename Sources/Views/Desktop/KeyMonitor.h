// SPDX-License-Identifier: GPL-3.0-or-later
// KeyMonitor: sees key presses before this program's windows handle them.
#pragma once

#include "Platform/NSEvent.h"

#include <QObject>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

class QKeyEvent;

namespace lumicrate::views {

/// Translates a Qt key press to the recorder's event.
using KeyTranslation = std::function<NSEvent(const QKeyEvent&)>;

/// The NSEvent::keyName of a key that types `characters`: in upper case, or empty if one of them is a control
/// character. A letter without a single-character upper case ("ß") stays as it is.
std::string keyName(const QString& characters);

/// A key press that a monitor consumes reaches neither widgets nor window shortcuts. The newest monitor is
/// asked first. A monitor may be removed by its own call. Main thread.
class KeyMonitor final : public QObject, public NSKeyMonitoring {
 public:
    /// Translations of the X server's key codes.
    struct Keyboard {
        /// The keysym of a key without modifiers.
        std::function<std::uint32_t(std::uint32_t xKeycode)> keysym;
        /// The virtual key code of a key; -1 for none.
        std::function<std::int64_t(std::uint32_t xKeycode)> keyCode;
    };

    explicit KeyMonitor(Keyboard keyboard);

    std::unique_ptr<NSEventMonitor> addKeyDownMonitor(std::function<bool(const NSEvent&)> onKeyDown) override;

    /// The event that monitors receive for a press.
    NSEvent translated(const QKeyEvent& pressed) const;

 protected:
    bool eventFilter(QObject* receiver, QEvent* event) override;

 private:
    /// Kept by its monitor.
    using Handler = std::shared_ptr<std::function<bool(const NSEvent&)>>;
    struct Monitor;

    bool isConsumed(const QKeyEvent& pressed);

    Keyboard keyboard_;
    std::vector<Handler::weak_type> handlers_;  ///< the newest last
    /// Whether the press was consumed when it came as a possible shortcut, before it comes as a press.
    std::optional<bool> decided_;
};

}  // namespace lumicrate::views
