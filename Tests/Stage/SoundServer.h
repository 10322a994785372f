// SPDX-License-Identifier: GPL-3.0-or-later
// SoundServer: a private PipeWire with WirePlumber and pipewire-pulse, in a private session.
//
// It starts with the null sink "spk" ("Speaker") as the default output and the source "mic" ("Microphone") as
// the default input. What is played to the null sink "micfeed" comes out of "mic". Clients find the server
// through this process's environment; see Session.
#pragma once

#include "Tests/Stage/ChildProcess.h"
#include "Tests/Stage/Session.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace lumicrate::stage {

class SoundServer {
 public:
    /// Throws std::runtime_error, with the servers' output, when they do not start.
    explicit SoundServer(std::shared_ptr<const Session> session = std::make_shared<Session>());

    /// Loads a module of pipewire-pulse ("module-null-sink", {"sink_name=other"}); returns its number.
    unsigned loadModule(const std::string& name, const std::vector<std::string>& arguments = {});
    void unloadModule(unsigned number);
    /// A microphone that plays what the null sink "<name>feed" gets. To unplug it, unload `source`.
    struct Microphone {
        unsigned feed = 0;
        unsigned source = 0;
    };
    Microphone addMicrophone(const std::string& name, const std::string& description);
    unsigned addSpeaker(const std::string& name, const std::string& description);
    /// Devices disappear some time after their modules. `kind` is "sinks" or "sources". Throws
    /// std::runtime_error after half a minute.
    void awaitDevice(const std::string& kind, const std::string& name, bool present = true);
    void setDefaultSink(const std::string& name) { setDefault("sink", name); }
    void setDefaultSource(const std::string& name) { setDefault("source", name); }
    /// The modules of "mic" and "spk".
    const Microphone& microphone() const { return microphone_; }
    unsigned speaker() const { return speaker_; }

    /// Any other pactl command; returns its standard output.
    std::string pactl(std::vector<std::string> arguments);

    /// Ends the whole server at once, as a crash would.
    void kill();
    /// Starts it again after that.
    void revive() { start(); }
    /// Kills WirePlumber alone and starts another. The devices disappear and come back with it.
    void restartManager();

 private:
    void start();
    void addDevices();
    void setDefault(const std::string& kind, const std::string& name);
    void mustBecome(const std::function<bool()>& condition, const std::string& complaint);

    std::shared_ptr<const Session> session_;
    std::unique_ptr<ChildProcess> server_;
    std::unique_ptr<ChildProcess> manager_;
    std::unique_ptr<ChildProcess> pulse_;
    unsigned speaker_ = 0;
    Microphone microphone_;
};

}  // namespace lumicrate::stage
