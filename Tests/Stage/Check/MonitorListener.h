// MonitorListener: hears what arrives at the default output and notes when, on the sound server's own clock.
#pragma once

#include <memory>
#include <vector>

namespace lumicrate::stage {

class MonitorListener {
 public:
    // Returns when it hears.
    MonitorListener();
    MonitorListener(const MonitorListener&) = delete;
    MonitorListener& operator=(const MonitorListener&) = delete;
    ~MonitorListener();

    // The instants, in seconds of CLOCK_MONOTONIC, at which a sound began after a pause of a tenth of a
    // second.
    std::vector<double> soundBeginnings() const;

 private:
    struct Stream;
    std::unique_ptr<Stream> stream_;
};

}  // namespace lumicrate::stage
