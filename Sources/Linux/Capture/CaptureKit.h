// CaptureKit: screen capture on this machine, put together from X11 pictures and PipeWire sound.
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

/// Something that asks the X server. It is made at the first question and kept; when the server was lost
/// since the last one, it is made anew, for the server may be back.
template <class Client>
class KeptClient {
 public:
    explicit KeptClient(std::function<Client()> make) : make_(std::move(make)) {}

    /// Throws PlatformError when no server can be reached.
    template <class Question>
    auto ask(Question question) const {
        if (client_) {
            try {
                return question(*client_);
            } catch (const PlatformError&) {
                client_.reset();
            }
        }
        return question(client_.emplace(make_()));
    }

 private:
    std::function<Client()> make_;
    mutable std::optional<Client> client_;
};

/// Reads displays and windows from the X server of $DISPLAY; without one there is nothing to capture but
/// sound. What a point is stays as it was at the first question, as it does for the toolkit's windows.
class CaptureKit final : public ScreenCaptureKit {
 public:
    CaptureKit();

    /// The displays now. Throws PlatformError when no X server can be reached.
    std::vector<SCDisplay> displays() const;
    /// The windows on the screen now, front to back. Throws PlatformError when no X server can be reached.
    std::vector<SCWindow> windows() const;

    bool CGPreflightScreenCaptureAccess() const override;
    std::uint32_t CGMainDisplayID() const override;
    Rect CGDisplayBounds(std::uint32_t displayID) const override;
    std::optional<Rect> windowBounds(std::uint32_t windowID) const override;
    void getShareableContent(ContentHandler handler) const override;
    /// Follows the X server that is there at the call, until it goes.
    void setOnContentChange(std::function<void()> changed) override;
    std::unique_ptr<SCStream> makeStream(const SCContentFilter& filter,
                                         const SCStreamConfiguration& configuration,
                                         SCStreamDelegate& delegate) override;

 private:
    KeptClient<x11::Displays> displays_;
    KeptClient<x11::WindowList> windows_;
    std::unique_ptr<x11::ContentWatch> contentWatch_;
};

}  // namespace lumicrate::capture
