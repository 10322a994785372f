// What the recording library is given on this machine.
#pragma once

#include "Lumicrate/Library/RecordingLengths.h"

namespace lumicrate::app {

/// Threads that read lengths of movies, as many as are worth it.
RecordingLengths::Readers lengthReaders();

}  // namespace lumicrate::app
