// Microphones and cameras.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace lumicrate {

/// A microphone or camera.
struct CaptureDevice {
    std::string id;    ///< unique and lasting
    std::string name;  ///< for people
    bool operator==(const CaptureDevice&) const = default;
};

/// Finds the devices that are connected now. Main thread; no failure: without a media service the lists are
/// empty.
class AVCaptureDevices {
 public:
    virtual ~AVCaptureDevices() = default;
    virtual std::vector<CaptureDevice> microphones() const = 0;
    virtual std::vector<CaptureDevice> cameras() const = 0;
    /// Calls `changed` (any thread) whenever a device came or went, until it is replaced by an empty one; the
    /// former does not run any more when this returns. Main thread.
    virtual void setOnChange(std::function<void()> changed) = 0;
};

}  // namespace lumicrate
