// SPDX-License-Identifier: GPL-3.0-or-later
// ScreenCast: a running screen cast that the user has granted, and the PipeWire streams that carry it.
#pragma once

#include "Support/Executor.h"
#include "Support/Geometry.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace lumicrate::portal {

class PortalSession;

/// Values are those of the portal.
enum class SourceKind : std::uint8_t {
    monitor = 1,
    window = 2,
    virtualMonitor = 4,  ///< made for the cast, shown on no screen
};

/// Where the pointer is in a stream. Values are those of the portal.
enum class CursorMode : std::uint8_t {
    hidden = 1,    ///< nowhere
    embedded = 2,  ///< in the pixels
    metadata = 4,  ///< beside the pixels: image and position in SPA_META_Cursor
};

struct ScreenCastStream {
    std::uint32_t nodeId = 0;             ///< valid on the connection of openRemote()
    std::optional<std::uint64_t> serial;  ///< PipeWire's object.serial, never reused; newer portals only
    /// As the portal says. Some say "window" for a monitor.
    std::optional<SourceKind> source;
    /// The upper left corner in the compositor's logical points, y down. Monitors only, and not everywhere.
    std::optional<Point> position;
    /// In the compositor's logical points; the pixels may be more. Not everywhere.
    std::optional<Size> size;
    std::string id;         ///< the same for the same source in a restored cast; may be empty
    std::string mappingId;  ///< matches the stream with a device of libei; may be empty
};

/// Owns the portal's session: the streams run until this is destroyed or the cast is closed from outside.
/// Main thread, except for openRemote(). A moved-from cast may only be destroyed or assigned to.
class ScreenCast {
 public:
    ScreenCast(ScreenCast&&) noexcept;
    ScreenCast& operator=(ScreenCast&&) noexcept;
    /// Closes the session.
    ~ScreenCast();

    /// At least one; exactly one for a request of ScreenCastPortal, if the portal does as it is asked.
    const std::vector<ScreenCastStream>& streams() const;
    /// Restores this choice without a question, once: store it in place of the token that was passed, which
    /// is used up. Empty if the desktop or the user does not allow it.
    const std::string& restoreToken() const;
    CursorMode cursorMode() const;

    /// A new connection to the PipeWire server that shows this cast alone, as a descriptor that the caller
    /// owns. Waits for the portal, up to a few seconds. Throws PortalError. Any thread.
    int openRemote() const;
    /// openRemote() as a function that may outlive this and follows it when it is moved. Call it for each
    /// PipeWire connection: a duplicate of a descriptor is the same connection, which two clients would
    /// disturb. It throws after the cast has been closed. Any thread.
    std::function<int()> remote() const;

    /// False once the cast has been closed from outside.
    bool isOpen() const;
    /// Whether it was closed by the end of the portal, rather than by the user or the compositor.
    bool isPortalGone() const;
    /// `handler` is called once, from the executor, when the user, the compositor or the end of the portal
    /// has closed the cast; also if that was before this call. It may destroy the cast. The streams then
    /// deliver nothing more.
    ///
    /// Some ends are seen only in PipeWire, where the stream's node disappears: with xdg-desktop-portal-wlr
    /// the session stays open when the compositor or the portal's backend has ended, and also when the
    /// monitor was switched off, which leaves the node but sends no more frames.
    void setOnClosed(std::function<void()> handler);

 private:
    friend class ScreenCastPortal;
    struct Facts {
        std::vector<ScreenCastStream> streams;
        std::string restoreToken;
        CursorMode cursorMode = CursorMode::hidden;
    };

    ScreenCast(std::unique_ptr<PortalSession> session, Facts facts);

    std::unique_ptr<PortalSession> session_;
    Facts facts_;
};

}  // namespace lumicrate::portal
