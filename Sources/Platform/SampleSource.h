// One producer of one kind of samples: the parts that a capture stream is put together from.
#pragma once

#include "Platform/CMSampleBuffer.h"
#include "Platform/ScreenCaptureKit.h"

#include <exception>
#include <functional>

namespace lumicrate {

/// Captures on a thread of its own between start and stop.
class SampleSource {
 public:
    /// Called on the source's thread, in order of time. Must return quickly.
    using SampleHandler = std::function<void(const CMSampleBuffer&)>;
    /// Called on the source's thread, at most once, when the source ended by itself; no sample follows.
    using FailureHandler = std::function<void(std::exception_ptr)>;

    virtual ~SampleSource() = default;

    /// Begins to capture; throws PlatformError when that cannot be. Main thread, once.
    virtual void start(SampleHandler onSample, FailureHandler onFailure) = 0;
    /// Ends capture; when it returns no handler runs or will run. Main thread, may be called again.
    virtual void stop() = 0;
    /// Takes over what of a changed configuration concerns this source. Main thread, while it captures.
    /// Throws PlatformError when it cannot be.
    virtual void update(const SCStreamConfiguration& configuration) = 0;
};

}  // namespace lumicrate
