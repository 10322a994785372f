// KeyMonitor: hears of the keys that reach this program's windows before the windows do.
#pragma once

#include "Platform/NSEvent.h"

#include <QObject>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

class QKeyEvent;

namespace lumicrate::views {

/// What a key that was pressed is called here.
using KeyTranslation = std::function<NSEvent(const QKeyEvent&)>;

/// The NSEvent::keyName of a key that types `characters`: in upper case, or empty if one of them is a control
/// character. A letter without a single-character upper case ("ß") stays as it is.
std::string keyName(const QString& characters);

/// Main thread only. A key that a monitor takes is kept from the shortcuts of windows, too. Of several
/// monitors the newest is asked first. A monitor may be removed by its own call.
class KeyMonitor final : public QObject, public NSKeyMonitoring {
 public:
    /// How keys are called here.
    struct Keyboard {
        /// The keysym of a key without modifiers, by its X key code.
        std::function<std::uint32_t(std::uint32_t xKeycode)> keysym;
        /// Its virtual key code; -1 for none.
        std::function<std::int64_t(std::uint32_t xKeycode)> keyCode;
    };

    explicit KeyMonitor(Keyboard keyboard);

    std::unique_ptr<NSEventMonitor> addKeyDownMonitor(std::function<bool(const NSEvent&)> onKeyDown) override;

    /// The press as monitors are given it.
    NSEvent translated(const QKeyEvent& pressed) const;

 protected:
    bool eventFilter(QObject* receiver, QEvent* event) override;

 private:
    using Handler = std::function<bool(const NSEvent&)>;
    using Handlers = std::map<int, std::shared_ptr<Handler>>;

    bool isConsumed(const QKeyEvent& pressed);

    Keyboard keyboard_;
    int next_ = 0;
    // Shared with the monitors, which may outlive this.
    std::shared_ptr<Handlers> handlers_ = std::make_shared<Handlers>();
    /// What became of the press that is on its way as a possible shortcut.
    std::optional<bool> decided_;
};

}  // namespace lumicrate::views
