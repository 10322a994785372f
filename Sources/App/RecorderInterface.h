// SPDX-License-Identifier: GPL-3.0-or-later
// RecorderInterface: the D-Bus interface by which scripts, key bindings and other programs control the
// running application, and by which our own commands do.
#pragma once

#include "Linux/Desktop/BusInterface.h"
#include "Linux/Desktop/SessionBus.h"
#include "Lumicrate/Shell/RemoteControl.h"

#include <functional>
#include <optional>
#include <string>

namespace lumicrate::app {

/// "org.lumicrate.Lumicrate.Recorder1"
std::string recorderInterfaceName();

/// "Toggle", "TogglePause", …
std::string methodName(RemoteCommand command);
inline constexpr const char* recordMethod = "Record";

/// Starts a recording of a mode (empty: the stored one) with options, or throws BusError.
using RecordHandler = std::function<void(const std::string& mode, const QVariantMap& options)>;

/// The interface that calls `control` and `record`. Both must outlive it.
desktop::BusInterface recorderInterface(RemoteControl& control, RecordHandler record);

/// Sends the events of `control` on the bus. The service must outlive it.
void announceEvents(RemoteControl& control, const desktop::BusService& bus);

/// The introspection document of the interface.
std::string recorderIntrospection();

/// What the running instance is doing. Nothing if none can be reached.
std::optional<RemoteStatus> runningStatus();
/// The status in announced properties.
RemoteStatus statusIn(const QVariantMap& properties);

}  // namespace lumicrate::app
