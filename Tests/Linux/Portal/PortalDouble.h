// SPDX-License-Identifier: GPL-3.0-or-later
// PortalDouble: a private session bus with lumicrate-portal-double on it, and nothing else.
#pragma once

#include "Tests/Linux/TemporaryFolder.h"
#include "Tests/Stage/ChildProcess.h"
#include "Tests/Stage/Session.h"

#include <fstream>
#include <string>
#include <vector>

namespace lumicrate::stage {

/// While it lives, this process's environment points at the bus, also as the system's. Create it after other
/// private sessions.
///
///     stage::PortalDouble portal({"node=" + std::to_string(node)});
///     portal.tell("Set", {"Start", "cancelled"});
class PortalDouble {
 public:
    /// `arguments` and tell()'s commands are described in PortalDoubleMain.cpp.
    explicit PortalDouble(std::vector<std::string> arguments = {}) {
        arguments.insert(arguments.begin(), LUMICRATE_PORTAL_DOUBLE);
        program_.emplace(std::move(arguments));
        program_->readLine();
    }

    /// Returns the command's answer, if it has one.
    std::string tell(const std::string& command, const std::vector<std::string>& arguments = {}) const {
        std::vector<std::string> words{"dbus-send",
                                       "--session",
                                       "--print-reply=literal",
                                       "--dest=org.lumicrate.PortalDouble",
                                       "/",
                                       "org.lumicrate.PortalDouble." + command};
        for (const std::string& each : arguments)
            words.push_back("string:" + each);
        std::string answer = runProgram(words);
        // dbus-send indents it.
        answer.erase(0, answer.find_first_not_of(' '));
        answer.erase(answer.find_last_not_of('\n') + 1);
        return answer;
    }
    void set(const std::string& key, const std::string& value) const { tell("Set", {key, value}); }

 private:
    /// Without service folders: the bus must not start the machine's own portal.
    std::string makeConfiguration() const {
        const auto path = folder_ / "bus.conf";
        std::ofstream(path)
            << R"(<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>session</type>
  <listen>unix:path=)"
            << (folder_ / "bus").string() << R"(</listen>
  <policy context="default"><allow send_destination="*"/><allow receive_sender="*"/><allow own="*"/></policy>
</busconfig>
)";
        return path.string();
    }

    test::TemporaryFolder folder_;
    ChildProcess bus_{{"dbus-daemon", "--nofork", "--print-address", "--config-file=" + makeConfiguration()}};
    const std::string address_ = bus_.readLine();
    ScopedEnvironment environment_{
        {{"DBUS_SESSION_BUS_ADDRESS", address_}, {"DBUS_SYSTEM_BUS_ADDRESS", address_}}};
    std::optional<ChildProcess> program_;
};

}  // namespace lumicrate::stage
