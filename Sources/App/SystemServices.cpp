// SPDX-License-Identifier: GPL-3.0-or-later
#include "App/SystemServices.h"

#include "App/Recovery.h"
#include "Lumicrate/Recording/RecordingOptions.h"

namespace lumicrate::app {

SystemServices::SystemServices() : unfinished(unfinishedMovies()) {
    RecordingOptions::registerDefaults(defaults);
}

}  // namespace lumicrate::app
