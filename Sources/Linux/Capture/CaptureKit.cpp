// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Capture/CaptureKit.h"

#include "Linux/Capture/CaptureStream.h"
#include "Linux/PipeWire/AudioSource.h"
#include "Linux/X11/Capture/ScreenSource.h"
#include "Linux/X11/Screens/DesktopScale.h"
#include "Linux/X11/Screens/Displays.h"
#include "Linux/X11/Server/Connection.h"

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <exception>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <type_traits>
#include <utility>

namespace lumicrate::capture {

namespace {

/// An audio recording requests the smallest possible picture at the lowest rate, and may run without a
/// display. An area of 1 × 1 has the same size, but a higher rate.
bool isAudioOnly(const SCContentFilter& filter, const SCStreamConfiguration& configuration) {
    const bool isSmallest = configuration.width <= 2 && configuration.height <= 2;
    return filter.contentRect.isEmpty() || (isSmallest && CMTime(1, 1) <= configuration.minimumFrameInterval);
}

/// The toolkit multiplies the desktop's scale by a factor that the user can set.
double toolkitScale() {
    const char* const text = std::getenv("QT_SCALE_FACTOR");
    if (!text) return 1;
    double factor = 0;
    const std::string_view view(text);
    const auto parsed = std::from_chars(view.data(), view.data() + view.size(), factor);
    const bool isNumber = parsed.ec == std::errc() && parsed.ptr == view.data() + view.size();
    return isNumber && std::isfinite(factor) && factor > 0 ? factor : 1;
}

/// A client of the server of $DISPLAY that uses the same points as this program's windows: `known`, or else
/// the desktop's.
template <class Client>
Client clientInPoints(const std::optional<double>& known) {
    const x11::Connection connection;
    const double scale = known ? *known : x11::desktopScale(connection) * toolkitScale();
    if constexpr (std::is_same_v<Client, x11::Displays>) x11::logServer(connection, scale);
    return Client(std::string(), scale);
}

/// The client's answer; `otherwise` when no X server can be reached.
template <class Client, class Query, class Answer>
Answer queryOr(Answer otherwise, const ReconnectingClient<Client>& client, Query query) {
    try {
        return client.query(query);
    } catch (const PlatformError&) {
        return otherwise;
    }
}

}  // namespace

CaptureKit::CaptureKit()
    : displays_([this] { return clientInPoints<x11::Displays>(scale_); }),
      windows_([this] { return clientInPoints<x11::WindowList>(scale_); }) {}

void CaptureKit::setScale(double scale) {
    scale_ = scale;
    displays_.reset();
    windows_.reset();
}

bool CaptureKit::CGPreflightScreenCaptureAccess() const {
    return CGMainDisplayID() != 0;
}

std::vector<SCDisplay> CaptureKit::displays() const {
    return displays_.query([](const x11::Displays& each) { return each.displays(); });
}

std::vector<SCWindow> CaptureKit::windows() const {
    return windows_.query([](const x11::WindowList& each) { return each.windows(); });
}

std::uint32_t CaptureKit::CGMainDisplayID() const {
    return queryOr(0U, displays_, [](const x11::Displays& each) { return each.mainDisplayID(); });
}

Rect CaptureKit::CGDisplayBounds(std::uint32_t displayID) const {
    return queryOr(Rect(), displays_, [=](const x11::Displays& each) { return each.bounds(displayID); });
}

std::optional<Rect> CaptureKit::windowBounds(std::uint32_t windowID) const {
    return queryOr(std::optional<Rect>(), windows_,
                   [=](const x11::WindowList& each) { return each.bounds(windowID); });
}

bool CaptureKit::windowExists(std::uint32_t windowID) const {
    return queryOr(false, windows_, [=](const x11::WindowList& each) { return each.exists(windowID); });
}

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

void CaptureKit::setOnContentChange(std::function<void()> changed) {
    contentWatch_.reset();
    if (!changed) return;
    try {
        contentWatch_ = std::make_unique<x11::ContentWatch>(std::move(changed));
    } catch (const PlatformError&) {
        // Without a server no content can change.
    }
}

std::unique_ptr<SCStream> CaptureKit::makeStream(const SCContentFilter& filter,
                                                 const SCStreamConfiguration& configuration,
                                                 SCStreamDelegate& delegate) {
    CaptureStream::Sources sources;
    if (!isAudioOnly(filter, configuration)) {
        sources.emplace_back(SCStreamOutputType::screen,
                             std::make_unique<x11::ScreenSource>("", filter, configuration));
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
