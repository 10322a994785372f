// SPDX-License-Identifier: GPL-3.0-or-later
// CaptureKit: screen capture with X11 for pictures and PipeWire for sound. The only place that assembles
// streams.
#pragma once

#include "Linux/X11/Screens/Displays.h"
#include "Linux/X11/Windows/ContentWatch.h"
#include "Linux/X11/Windows/WindowList.h"
#include "Platform/ScreenCaptureKit.h"

#include <functional>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace lumicrate::capture {

/// A client of the X server that is created by the first query, and again when a query fails: the server may
/// have been restarted.
template <class Client>
class ReconnectingClient {
 public:
    explicit ReconnectingClient(std::function<Client()> make) : make_(std::move(make)) {}
    /// The next query creates the client again.
    void reset() { client_.reset(); }

    /// Throws PlatformError when no server can be reached.
    template <class Query>
    auto query(Query query) const {
        if (client_) {
            try {
                return query(*client_);
            } catch (const PlatformError&) {
                client_.reset();
            }
        }
        return query(client_.emplace(make_()));
    }

 private:
    std::function<Client()> make_;
    mutable std::optional<Client> client_;
};

/// Uses the X server of $DISPLAY; without one only sound can be captured. The size of a point is that of the
/// desktop at the first query, until setScale is called.
class CaptureKit final : public ScreenCaptureKit {
 public:
    CaptureKit();

    /// The toolkit's pixels per point have changed. Recordings that run keep their points.
    void setScale(double scale);

    /// Throws PlatformError when no X server can be reached.
    std::vector<SCDisplay> displays() const;
    /// The viewable windows, front to back. Throws PlatformError when no X server can be reached.
    std::vector<SCWindow> windows() const;

    bool CGPreflightScreenCaptureAccess() const override;
    std::uint32_t CGMainDisplayID() const override;
    Rect CGDisplayBounds(std::uint32_t displayID) const override;
    std::optional<Rect> windowBounds(std::uint32_t windowID) const override;
    bool windowExists(std::uint32_t windowID) const override;
    void getShareableContent(ContentHandler handler) const override;
    /// Watches the X server that runs at the time of the call, until it ends.
    void setOnContentChange(std::function<void()> changed) override;
    std::unique_ptr<SCStream> makeStream(const SCContentFilter& filter,
                                         const SCStreamConfiguration& configuration,
                                         SCStreamDelegate& delegate) override;

 private:
    std::optional<double> scale_;  ///< of setScale
    ReconnectingClient<x11::Displays> displays_;
    ReconnectingClient<x11::WindowList> windows_;
    std::unique_ptr<x11::ContentWatch> contentWatch_;
};

}  // namespace lumicrate::capture
