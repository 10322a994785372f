// SoundServer: a private PipeWire with its session manager and its PulseAudio side, in a private session.
//
// On it stand, from the start, the null sink "spk" ("Speaker"), which is the default output, and the source
// "mic" ("Microphone"), which is the default input and gives what is played to the null sink "micfeed".
// Clients in this process and programs started from it find this server through the environment (see
// Session).
#pragma once

#include "Tests/Stage/ChildProcess.h"
#include "Tests/Stage/Session.h"

#include <memory>
#include <string>
#include <vector>

namespace lumicrate::stage {

class SoundServer {
 public:
    // In a session of its own. Throws std::runtime_error, with the tail of the servers' own words, when they
    // do not come up.
    SoundServer();
    // In a session that the caller keeps alive.
    explicit SoundServer(const Session& session);

    const Session& session() const { return *session_; }

    // Loads a module of the PulseAudio side ("module-null-sink", {"sink_name=other"}) and gives its number.
    unsigned loadModule(const std::string& name, const std::vector<std::string>& arguments = {});
    void unloadModule(unsigned number);
    // A microphone fed by a null sink "<name>feed", default or not; unloading `source` is pulling its plug.
    struct Microphone {
        unsigned feed = 0;
        unsigned source = 0;
    };
    Microphone addMicrophone(const std::string& name, const std::string& description);
    unsigned addSpeaker(const std::string& name, const std::string& description);
    // Devices go a while after their modules. The kind is "sinks" or "sources". Throws when it takes half a
    // minute.
    void awaitDevice(const std::string& kind, const std::string& name, bool present = true);
    void setDefaultSink(const std::string& name);
    void setDefaultSource(const std::string& name);
    // The modules of the microphone that was there from the start.
    const Microphone& microphone() const { return microphone_; }
    unsigned speaker() const { return speaker_; }

    // Any other pactl command; gives its standard output.
    std::string pactl(std::vector<std::string> arguments);

    // Ends the whole server at once, as a crash would; it does not come back by itself.
    void kill();
    // Brings it up again after that, as it was in the beginning.
    void revive() { start(); }
    // Kills the session manager alone and starts another. The devices go and come with it, as a machine's do.
    void restartManager();

 private:
    void start();
    void addDevices();
    std::unique_ptr<ChildProcess> startDaemon(const std::string& name) const;
    void awaitSocket();
    void awaitAnswer();
    std::string complaint(const std::string& what) const;

    std::unique_ptr<Session> ownSession_;
    const Session* session_;
    std::unique_ptr<ChildProcess> server_;
    std::unique_ptr<ChildProcess> manager_;
    std::unique_ptr<ChildProcess> pulse_;
    unsigned speaker_ = 0;
    Microphone microphone_;
};

}  // namespace lumicrate::stage
