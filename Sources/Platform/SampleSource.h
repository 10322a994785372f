// SPDX-License-Identifier: GPL-3.0-or-later
// SampleSource: a producer of one kind of samples. A capture stream combines several of them.
#pragma once

#include "Platform/CMSampleBuffer.h"
#include "Platform/ScreenCaptureKit.h"

#include <exception>
#include <functional>
#include <string>

namespace lumicrate {

/// Captures on its own thread between start and stop. The operations are called by one thread at a time,
/// which may wait for them.
class SampleSource {
 public:
    /// Called on the source's thread, in order of time. Must return quickly.
    using SampleHandler = std::function<void(const CMSampleBuffer&)>;
    /// Called on the source's thread, at most once, when the source ended by itself; no sample follows.
    using FailureHandler = std::function<void(std::exception_ptr)>;
    /// Called on the source's thread, or by `stop`: capture continues, but not as expected. The user sees the
    /// sentence at the end of the recording.
    using NoticeHandler = std::function<void(std::string)>;

    struct Handlers {
        SampleHandler onSample;
        FailureHandler onFailure;
        NoticeHandler onNotice;
    };

    virtual ~SampleSource() = default;

    /// Starts capture, with all handlers set. Throws PlatformError. Once.
    virtual void start(Handlers handlers) = 0;
    /// Ends capture. When it returns, no handler is running or will run. May be called again.
    virtual void stop() = 0;
    /// Applies the parts of a changed configuration that concern this source. During capture. Throws
    /// PlatformError.
    virtual void update(const SCStreamConfiguration& configuration) = 0;
    /// Applies a changed filter; only sources of pictures have one. During capture.
    virtual void setFilter(const SCContentFilter& /*filter*/) {}
};

}  // namespace lumicrate
