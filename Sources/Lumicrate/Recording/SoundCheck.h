// SPDX-License-Identifier: GPL-3.0-or-later
// SoundCheck: what of the sound that a recording should have can be recorded.
#pragma once

#include "Lumicrate/Capture/CaptureSource.h"
#include "Lumicrate/Capture/ContentFilter.h"
#include "Lumicrate/Recording/RecordingOptions.h"
#include "Platform/AVCaptureDevice.h"
#include "Support/DispatchQueue.h"
#include "Support/Executor.h"
#include "Support/Task.h"

#include <optional>
#include <string>
#include <vector>

namespace lumicrate {

/// Sound without which a recording must not start. Other sound is only a stored preference.
struct RequiredSound {
    bool systemAudio = false;
    bool microphone = false;
};

/// The sound that could be recorded now, asked on `queue`. All must outlive the task.
Task<SoundDevices> fetchSoundDevices(const AVCaptureDevices& devices, Executor& executor,
                                     DispatchQueue& queue);

/// Turns off in `options` the sound that is not available, and returns a sentence for each reason. Throws
/// LocalizedError if that sound is required, or if it is all that would be recorded (`soundAlone`).
std::vector<std::string> leaveOutMissingSound(RecordingOptions& options, const SoundDevices& devices,
                                              const RequiredSound& required, bool soundAlone);

/// The sentence for a window whose program is not known, when only that program's sound should be recorded.
/// Turns off the system audio in `options` then; throws LocalizedError instead if it is required.
std::optional<std::string> leaveOutUnknownApplication(RecordingOptions& options, const CaptureTarget& target,
                                                      const std::optional<CaptureSource>& source,
                                                      const RequiredSound& required);

}  // namespace lumicrate
