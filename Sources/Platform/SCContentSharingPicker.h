// SPDX-License-Identifier: GPL-3.0-or-later
// SCContentSharingPicker: the desktop's own way to choose what a program may capture.
#pragma once

#include "Platform/ScreenCaptureKit.h"
#include "Support/Task.h"

#include <cstdint>
#include <optional>

namespace lumicrate {

/// What to ask the user for.
struct SCSharingRequest {
    enum class Kind { display, window };
    Kind kind = Kind::display;
    /// Suggests that display, if the user has shared it before. Any display if absent.
    std::optional<std::uint32_t> displayID;
    bool showsCursor = true;
};

/// What the user has shared: a display or a window. It is listed in the shareable content from now on.
struct SCSharedContent {
    std::optional<SCDisplay> display;
    std::optional<SCWindow> window;
};

/// Exists where programs can capture nothing but what the user shares with them. Main thread.
class SCContentSharingPicker {
 public:
    virtual ~SCContentSharingPicker() = default;
    /// Shows the desktop's dialog, or restores without one what the user has shared before; the content that
    /// is shared now, if it satisfies the request. Nothing if the user declined, or sharing was ended
    /// meanwhile. The user may share something else than what was suggested. Throws PlatformError.
    virtual Task<std::optional<SCSharedContent>> share(SCSharingRequest request) = 0;
    /// Ends what is shared, and a request that is still open.
    virtual void endSharing() = 0;
    /// Whether a request for that kind may be answered without a dialog.
    virtual bool remembersChoice(SCSharingRequest::Kind kind) const = 0;
    /// The next request shows the dialog, whatever was shared before.
    virtual void forgetChoices() = 0;
};

}  // namespace lumicrate
