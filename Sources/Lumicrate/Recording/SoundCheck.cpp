// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Recording/SoundCheck.h"

#include "Lumicrate/Capture/StreamConfiguration.h"
#include "Support/Error.h"
#include "Support/Log.h"
#include "Support/LongWork.h"

#include <functional>

namespace lumicrate {

Task<SoundDevices> fetchSoundDevices(const AVCaptureDevices& devices, Executor& executor,
                                     DispatchQueue& queue) {
    const std::function<SoundDevices()> query = [&devices] { return devices.soundDevices(); };
    Task<SoundDevices> asking = inBackground<SoundDevices>(executor, queue, query);
    co_return co_await asking;
}

std::vector<std::string> leaveOutMissingSound(RecordingOptions& options, const SoundDevices& devices,
                                              const RequiredSound& required, bool soundAlone) {
    std::vector<std::string> reasons;
    const auto leaveOut = [&](bool& wanted, bool isRequired, bool isAvailable, const std::string& reason) {
        if (!wanted || isAvailable) return;
        if (isRequired) throw LocalizedError(reason);
        wanted = false;
        log(LogArea::audio, "left out: ", reason);
        if (reasons.empty() || reasons.back() != reason) reasons.push_back(reason);
    };
    const std::string noServer = localized("No sound server can be reached, so sound can't be recorded.");
    leaveOut(
        options.captureSystemAudio, required.systemAudio, devices.hasOutput,
        devices.hasServer ? localized("There is no sound output whose sound could be recorded.") : noServer);
    leaveOut(options.captureMicrophone, required.microphone, !devices.microphones.empty(),
             devices.hasServer ? localized("No microphone is connected.") : noServer);
    const bool nothingLeft = !options.captureSystemAudio && !options.captureMicrophone;
    if (soundAlone && nothingLeft && !reasons.empty()) throw LocalizedError(reasons.back());
    return reasons;
}

std::optional<std::string> leaveOutUnknownApplication(RecordingOptions& options, const CaptureTarget& target,
                                                      const std::optional<CaptureSource>& source,
                                                      const RequiredSound& required) {
    const bool isWanted = options.captureSystemAudio && options.onlyApplicationAudio &&
                          isKind(source, CaptureSource::Kind::window);
    if (!isWanted || windowProcess(target, source)) return std::nullopt;
    const std::string reason = localized(
        "It is not known which program the window belongs to, so its sound can't be recorded alone.");
    if (required.systemAudio) throw LocalizedError(reason);
    options.captureSystemAudio = false;
    return reason;
}

}  // namespace lumicrate
