// SPDX-License-Identifier: GPL-3.0-or-later
// FactsReader: reads what windows say of themselves, for the rules of content filters.
#pragma once

#include "Linux/X11/Server/Connection.h"
#include "Linux/X11/Windows/WindowAtoms.h"
#include "Linux/X11/Windows/WindowFacts.h"
#include "Platform/ScreenCaptureKit.h"

#include <optional>

namespace lumicrate::x11 {

/// One thread at a time. All operations throw PlatformError when the server is lost.
class FactsReader {
 public:
    /// `connection` must outlive the reader.
    explicit FactsReader(const Connection& connection);

    /// All facts except the frame; nothing for a window that is gone. Two round trips, and one more for each
    /// window that it is transient for.
    std::optional<SCWindowFacts> read(xcb_window_t window) const;
    /// The application's window in a window manager's frame; the top-level window itself if it is none.
    xcb_window_t insideOf(xcb_window_t topLevel) const;

 private:
    void readTransience(SCWindowFacts& facts, xcb_window_t next) const;

    const Connection& connection_;
    WindowAtoms atoms_;
    WindowTypeLayers layers_;
};

}  // namespace lumicrate::x11
