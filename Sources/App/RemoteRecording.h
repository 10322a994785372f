// SPDX-License-Identifier: GPL-3.0-or-later
// RemoteRecording: starts recordings for other programs, with the options of `lumicrate record`.
#pragma once

#include "App/SystemServices.h"
#include "Lumicrate/Recording/ScreenRecorder.h"

#include <QVariant>
#include <string>

namespace lumicrate::app {

/// Starts a recording of a mode, the stored one if it is empty. `options` are by name those of the command
/// "record" that this application can change for one recording. Throws desktop::BusError for what is not
/// understood, and LocalizedError when it cannot be started.
void startRemoteRecording(SystemServices& system, ScreenRecorder& recorder, const std::string& mode,
                          const QVariantMap& options);

}  // namespace lumicrate::app
