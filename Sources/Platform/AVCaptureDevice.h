// Microphones and cameras.
#pragma once

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
};

}  // namespace lumicrate
