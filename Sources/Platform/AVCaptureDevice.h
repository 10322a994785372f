// SPDX-License-Identifier: GPL-3.0-or-later
// Microphones and cameras.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace lumicrate {

/// A microphone or camera.
struct CaptureDevice {
    std::string id;    ///< unique and persistent
    std::string name;  ///< displayed
    bool operator==(const CaptureDevice&) const = default;
};

/// The sound that could be recorded now.
struct SoundDevices {
    bool hasServer = false;
    bool hasOutput = false;  ///< whose sound is the system audio
    std::vector<CaptureDevice> microphones;
};

/// Whether the user lets this program use cameras.
enum class AVAuthorizationStatus { notDetermined, authorized, denied };

/// Finds the connected devices. Main thread, except for soundDevices(). Never fails: without a media service
/// the lists are empty.
class AVCaptureDevices {
 public:
    virtual ~AVCaptureDevices() = default;
    virtual std::vector<CaptureDevice> microphones() const = 0;
    virtual std::vector<CaptureDevice> cameras() const = 0;
    /// Asks the server, which can take two seconds to answer. Any thread.
    virtual SoundDevices soundDevices() const = 0;
    /// `changed` is called on any thread whenever a device is connected or disconnected, until it is
    /// replaced; an empty function disables it. When this returns, the previous one is no longer running.
    /// Main thread.
    virtual void setOnChange(std::function<void()> changed) = 0;

    virtual AVAuthorizationStatus authorizationStatusForVideo() const = 0;
    /// Asks the user, if it is not determined yet. `completion` is called once on the main thread, at once or
    /// later.
    virtual void requestAccessForVideo(std::function<void(bool granted)> completion) = 0;
};

}  // namespace lumicrate
