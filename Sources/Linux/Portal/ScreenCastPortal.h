// SPDX-License-Identifier: GPL-3.0-or-later
// ScreenCastPortal: asks the desktop portal for a monitor or window to record.
#pragma once

#include "Linux/Portal/Registry.h"
#include "Linux/Portal/ScreenCast.h"
#include "Support/Executor.h"
#include "Support/Task.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace lumicrate::portal {

/// What the desktop's screen casts can do.
struct ScreenCastAbilities {
    std::uint32_t version = 0;  ///< of the portal's interface; 0: there are no screen casts
    std::vector<SourceKind> sources;
    std::vector<CursorMode> cursorModes;

    bool isAvailable() const { return version > 0 && !sources.empty(); }
    bool offers(SourceKind kind) const;
    bool offers(CursorMode mode) const;
};

struct ScreenCastRequest {
    SourceKind kind = SourceKind::monitor;
    bool showsCursor = true;
    /// Of an earlier cast. The portal then does not ask, if it can restore the choice; it may restore
    /// something else than the caller wanted. Empty: the user chooses.
    std::string restoreToken = {};
    /// The window that the portal's dialog belongs to: "x11:" and its number in hexadecimal digits, or empty.
    std::string parentWindow = {};
};

/// Main thread. Must outlive its tasks. The executor and the registry outlive the portal.
class ScreenCastPortal {
 public:
    /// `timeout` limits each step in which nobody is asked.
    ScreenCastPortal(Executor& executor, Registry& registry,
                     std::chrono::milliseconds timeout = std::chrono::seconds(10));

    /// Waits for the portal, up to a second, also when it has to be started first. Nothing is available if
    /// it does not answer by then. Any thread.
    static ScreenCastAbilities abilities();
    /// The same without blocking, with the constructor's time-out.
    Task<ScreenCastAbilities> queryAbilities();

    /// Asks the user, or restores an earlier choice, and starts the cast. Nothing if the user cancelled: the
    /// caller then says "Nothing was chosen.", if anything. Waits for the user without a limit. Destroying
    /// the task withdraws the question. Throws PortalError.
    ///
    /// If restoring fails, the user is asked as without a token.
    ///
    /// The cursor is metadata if possible, then embedded; without a cursor it is hidden, then metadata.
    /// CursorMode::hidden in spite of `showsCursor` means that the desktop offers nothing else; embedded in
    /// spite of its absence likewise.
    Task<std::optional<ScreenCast>> choose(ScreenCastRequest request);
    /// Restores the choice of the request's token, for a program that cannot wait for a person. Nothing if
    /// the desktop refuses it, or does not do so within some seconds because it asks the user after all; the
    /// question is then withdrawn. The token is used up in any case.
    Task<std::optional<ScreenCast>> restore(ScreenCastRequest request);

 private:
    struct Attempt;
    Task<Attempt> attempt(ScreenCastRequest request, ScreenCastAbilities abilities,
                          std::chrono::milliseconds startTimeout);

    Executor& executor_;
    Registry& registry_;
    std::chrono::milliseconds timeout_;
};

}  // namespace lumicrate::portal
