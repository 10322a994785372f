// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Capture/X11Kit.h"

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

X11Kit::X11Kit()
    : displays_([this] { return clientInPoints<x11::Displays>(scale_); }),
      windows_([this] { return clientInPoints<x11::WindowList>(scale_); }) {}

void X11Kit::setScale(double scale) {
    scale_ = scale;
    displays_.reset();
    windows_.reset();
}

bool X11Kit::CGPreflightScreenCaptureAccess() const {
    return CGMainDisplayID() != 0;
}

std::vector<SCDisplay> X11Kit::displays() const {
    return displays_.query([](const x11::Displays& each) { return each.displays(); });
}

std::vector<SCWindow> X11Kit::windows() const {
    return windows_.query([](const x11::WindowList& each) { return each.windows(); });
}

std::uint32_t X11Kit::CGMainDisplayID() const {
    return queryOr(0U, displays_, [](const x11::Displays& each) { return each.mainDisplayID(); });
}

Rect X11Kit::CGDisplayBounds(std::uint32_t displayID) const {
    return queryOr(Rect(), displays_, [=](const x11::Displays& each) { return each.bounds(displayID); });
}

std::optional<Rect> X11Kit::windowBounds(std::uint32_t windowID) const {
    return queryOr(std::optional<Rect>(), windows_,
                   [=](const x11::WindowList& each) { return each.bounds(windowID); });
}

bool X11Kit::windowExists(std::uint32_t windowID) const {
    return queryOr(false, windows_, [=](const x11::WindowList& each) { return each.exists(windowID); });
}

void X11Kit::setOnContentChange(std::function<void()> changed) {
    contentWatch_.reset();
    if (!changed) return;
    try {
        contentWatch_ = std::make_unique<x11::ContentWatch>(std::move(changed));
    } catch (const PlatformError&) {
        // Without a server no content can change.
    }
}

std::unique_ptr<SampleSource> X11Kit::pictureSource(const SCContentFilter& filter,
                                                    const SCStreamConfiguration& configuration) {
    return std::make_unique<x11::ScreenSource>("", filter, configuration);
}

}  // namespace lumicrate::capture
