// SPDX-License-Identifier: GPL-3.0-or-later
// Session: a private login session in a temporary folder: home, XDG folders and a message bus.
//
// While it lives, this process's environment points at it, so that libraries in this process and programs
// started from it use the private session and never the user's. Create it before starting threads: the
// environment is not guarded against readers in other threads.
#pragma once

#include "Tests/Linux/TemporaryFolder.h"
#include "Tests/Stage/ChildProcess.h"

#include <filesystem>
#include <string>

namespace lumicrate::stage {

/// Changes variables of this process and restores them.
class ScopedEnvironment {
 public:
    explicit ScopedEnvironment(const Environment& changes) : previous_(exchange(changes)) {}
    ScopedEnvironment(const ScopedEnvironment&) = delete;
    ScopedEnvironment& operator=(const ScopedEnvironment&) = delete;
    ~ScopedEnvironment() { exchange(previous_); }

 private:
    static Environment exchange(const Environment& values);

    Environment previous_;
};

class Session {
 public:
    /// Throws std::runtime_error when the bus does not start.
    Session();

    std::filesystem::path home() const { return folder_ / "home"; }
    std::filesystem::path runtimeFolder() const { return folder_ / "run"; }

 private:
    test::TemporaryFolder folder_;
    ScopedEnvironment environment_;
    ChildProcess bus_;
};

}  // namespace lumicrate::stage
