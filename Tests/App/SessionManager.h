// SessionManager: a login session that programs are part of, and that ends.
#pragma once

#include <functional>
#include <memory>
#include <string>

namespace lumicrate::test {

/// The X session management protocol, for one program.
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
    /// Asks the program to save what it has, as the session is about to end; true when it says that it has.
    bool askToSave();
    /// Ends the program.
    void end();

 private:
    struct State;

    bool serveUntil(const std::function<bool()>& reached);

    std::unique_ptr<State> state_;
};

}  // namespace lumicrate::test
