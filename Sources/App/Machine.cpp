#include "App/Machine.h"

#include "App/CommandLine/Recovery.h"
#include "Lumicrate/Recording/RecordingOptions.h"

namespace lumicrate::app {

Machine::Machine() : unfinished(unfinishedMovies()) {
    RecordingOptions::registerDefaults(defaults);
}

}  // namespace lumicrate::app
