// Session: a login session of its own in a temporary folder: home, XDG folders and a private message bus.
//
// While it lives, this process's environment points at it, so that libraries used in this process and
// programs started from it see the private session and never the user's. Create it before starting threads:
// the environment is not guarded against readers in other threads.
#pragma once

#include "Tests/Stage/ChildProcess.h"

#include <filesystem>
#include <string>

namespace lumicrate::stage {

// Variables of this process, changed for a while and put back.
class ScopedEnvironment {
 public:
    explicit ScopedEnvironment(const Environment& changes);
    ScopedEnvironment(const ScopedEnvironment&) = delete;
    ScopedEnvironment& operator=(const ScopedEnvironment&) = delete;
    ~ScopedEnvironment();

 private:
    static void apply(const Environment& values);

    Environment previous_;
};

// A folder that only its owner may enter and that goes away with this object.
class StageFolder {
 public:
    StageFolder();
    StageFolder(const StageFolder&) = delete;
    StageFolder& operator=(const StageFolder&) = delete;
    ~StageFolder();

    const std::filesystem::path& path() const { return path_; }

 private:
    std::filesystem::path path_;
};

class Session {
 public:
    // Throws std::runtime_error when the bus does not start.
    Session();

    const std::filesystem::path& folder() const { return folder_.path(); }
    std::filesystem::path home() const { return folder() / "home"; }
    std::filesystem::path runtimeFolder() const { return folder() / "run"; }
    std::string busAddress() const;
    // The variables that make up the session; this process has them already.
    const Environment& environment() const { return environment_; }

 private:
    StageFolder folder_;
    Environment environment_;
    ScopedEnvironment applied_;
    ChildProcess bus_;
};

}  // namespace lumicrate::stage
