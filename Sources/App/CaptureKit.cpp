#include "App/CaptureKit.h"

#include "Linux/CaptureStream.h"
#include "Linux/PipeWire/AudioSource.h"
#include "Linux/X11/Displays.h"
#include "Linux/X11/ScreenSource.h"

#include <algorithm>

namespace lumicrate::app {

namespace {

/// A recording of sound alone asks for the smallest picture there is, and may run where there is no display.
bool isSoundAlone(const SCContentFilter& filter, const SCStreamConfiguration& configuration) {
    return filter.contentRect.isEmpty() || (configuration.width <= 2 && configuration.height <= 2);
}

}  // namespace

bool CaptureKit::CGPreflightScreenCaptureAccess() const {
    return x11::displayReachable();
}

std::vector<SCDisplay> CaptureKit::displays() const {
    return x11::Displays().displays();
}

std::uint32_t CaptureKit::CGMainDisplayID() const {
    try {
        return x11::Displays().mainDisplayID();
    } catch (const PlatformError&) {
        return 0;
    }
}

Rect CaptureKit::CGDisplayBounds(std::uint32_t displayID) const {
    try {
        return x11::Displays().bounds(displayID);
    } catch (const PlatformError&) {
        return {};
    }
}

std::optional<Rect> CaptureKit::windowBounds(std::uint32_t /*windowID*/) const {
    return std::nullopt;
}

void CaptureKit::getShareableContent(ContentHandler handler) const {
    try {
        handler({displays(), {}}, nullptr);
    } catch (const PlatformError&) {
        handler({}, std::current_exception());
    }
}

std::unique_ptr<SCStream> CaptureKit::makeStream(const SCContentFilter& filter,
                                                 const SCStreamConfiguration& configuration,
                                                 SCStreamDelegate& delegate) {
    CaptureStream::Sources sources;
    if (!isSoundAlone(filter, configuration)) {
        sources.emplace_back(SCStreamOutputType::screen,
                             std::make_unique<x11::ScreenSource>("", filter, configuration));
    }
    if (configuration.capturesAudio) {
        sources.emplace_back(SCStreamOutputType::audio,
                             pipewire::AudioSource::systemSound(configuration.channelCount));
    }
    if (configuration.captureMicrophone) {
        sources.emplace_back(SCStreamOutputType::microphone,
                             pipewire::AudioSource::microphone(configuration.microphoneCaptureDeviceID));
    }
    return std::make_unique<CaptureStream>(std::move(sources), delegate, configuration.queueDepth);
}

}  // namespace lumicrate::app
