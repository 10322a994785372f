// SPDX-License-Identifier: GPL-3.0-or-later
// SessionManager: an X session manager with one client, for tests of the end of a login session.
#pragma once

#include <memory>
#include <string>

namespace lumicrate::test {

class SessionManager {
 public:
    /// Throws std::runtime_error when it cannot listen.
    SessionManager();
    ~SessionManager();
    SessionManager(const SessionManager&) = delete;
    SessionManager& operator=(const SessionManager&) = delete;

    /// For the program's $SESSION_MANAGER.
    const std::string& address() const;
    /// Waits until the program has joined the session.
    bool awaitProgram();
    /// Asks the program to save, as if the session were about to end; true when it says that it has.
    bool askToSave();

 private:
    struct State;

    std::unique_ptr<State> state_;
};

}  // namespace lumicrate::test
