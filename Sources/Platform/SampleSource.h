// One producer of one kind of samples: the parts that a capture stream is put together from.
#pragma once

#include "Platform/CMSampleBuffer.h"
#include "Platform/ScreenCaptureKit.h"

#include <exception>
#include <functional>
#include <string>

namespace lumicrate {

/// Captures on a thread of its own between start and stop.
class SampleSource {
 public:
    /// Called on the source's thread, in order of time. Must return quickly.
    using SampleHandler = std::function<void(const CMSampleBuffer&)>;
    /// Called on the source's thread, at most once, when the source ended by itself; no sample follows.
    using FailureHandler = std::function<void(std::exception_ptr)>;
    /// Called on the source's thread, or by `stop`, with a sentence for the user, who is told when the
    /// recording has ended: capture goes on, but something of it is not as expected.
    using NoticeHandler = std::function<void(std::string)>;

    struct Handlers {
        SampleHandler onSample;
        FailureHandler onFailure;
        NoticeHandler onNotice;
    };

    virtual ~SampleSource() = default;

    /// Begins to capture; throws PlatformError when that cannot be. All handlers are set. Main
    /// thread, once.
    virtual void start(Handlers handlers) = 0;
    /// Ends capture; when it returns no handler runs or will run. Main thread, may be called again.
    virtual void stop() = 0;
    /// Takes over what of a changed configuration concerns this source. Main thread, while it captures.
    /// Throws PlatformError when it cannot be.
    virtual void update(const SCStreamConfiguration& configuration) = 0;
};

}  // namespace lumicrate
