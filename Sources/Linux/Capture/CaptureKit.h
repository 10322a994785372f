// SPDX-License-Identifier: GPL-3.0-or-later
// CaptureKit: screen capture with pictures of a display server and sound of PipeWire. The only place that
// assembles streams.
#pragma once

#include "Platform/SampleSource.h"
#include "Platform/ScreenCaptureKit.h"

#include <memory>
#include <vector>

namespace lumicrate::capture {

/// Implemented for each kind of display server.
class CaptureKit : public ScreenCaptureKit {
 public:
    /// The toolkit's pixels per point have changed. Recordings that run keep their points.
    virtual void setScale(double scale) = 0;
    /// Throws PlatformError when no display server can be reached.
    virtual std::vector<SCDisplay> displays() const = 0;
    /// The windows that can be recorded, front to back. Throws PlatformError when no display server can be
    /// reached.
    virtual std::vector<SCWindow> windows() const = 0;

    void getShareableContent(ContentHandler handler) const final;
    std::unique_ptr<SCStream> makeStream(const SCContentFilter& filter,
                                         const SCStreamConfiguration& configuration,
                                         SCStreamDelegate& delegate) final;

 private:
    virtual std::unique_ptr<SampleSource> pictureSource(const SCContentFilter& filter,
                                                        const SCStreamConfiguration& configuration) = 0;
};

}  // namespace lumicrate::capture
