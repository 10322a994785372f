// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Capture/CaptureKit.h"

#include "Linux/Capture/CaptureStream.h"
#include "Linux/PipeWire/AudioSource.h"

#include <utility>

namespace lumicrate::capture {

namespace {

/// An audio recording requests the smallest possible picture at the lowest rate, and may run without a
/// display. An area of 1 × 1 has the same size, but a higher rate.
bool isAudioOnly(const SCContentFilter& filter, const SCStreamConfiguration& configuration) {
    const bool isSmallest = configuration.width <= 2 && configuration.height <= 2;
    return filter.contentRect.isEmpty() || (isSmallest && CMTime(1, 1) <= configuration.minimumFrameInterval);
}

}  // namespace

void CaptureKit::getShareableContent(ContentHandler handler) const {
    SCShareableContent content;
    std::exception_ptr error;
    try {
        content = {displays(), windows()};
    } catch (const PlatformError&) {
        error = std::current_exception();
    }
    handler(std::move(content), error);
}

std::unique_ptr<SCStream> CaptureKit::makeStream(const SCContentFilter& filter,
                                                 const SCStreamConfiguration& configuration,
                                                 SCStreamDelegate& delegate) {
    CaptureStream::Sources sources;
    if (!isAudioOnly(filter, configuration)) {
        sources.emplace_back(SCStreamOutputType::screen, pictureSource(filter, configuration));
    }
    if (configuration.capturesAudio) {
        sources.emplace_back(SCStreamOutputType::audio,
                             pipewire::AudioSource::systemSound({configuration.channelCount,
                                                                 configuration.excludesCurrentProcessAudio,
                                                                 configuration.audioProcess}));
    }
    if (configuration.captureMicrophone) {
        sources.emplace_back(SCStreamOutputType::microphone,
                             pipewire::AudioSource::microphone(configuration.microphoneCaptureDeviceID));
    }
    return std::make_unique<CaptureStream>(std::move(sources), delegate, configuration.queueDepth);
}

}  // namespace lumicrate::capture
