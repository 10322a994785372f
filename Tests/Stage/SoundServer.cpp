// SPDX-License-Identifier: GPL-3.0-or-later
#include "Tests/Stage/SoundServer.h"

#include "Tests/Stage/Await.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <csignal>
#include <fstream>
#include <initializer_list>
#include <optional>
#include <stdexcept>
#include <utility>

namespace lumicrate::stage {

namespace {

constexpr std::chrono::seconds startTimeout(30);
/// A client of a server that is still starting may hang; then it is killed and started again.
constexpr double answerSeconds = 5;

std::unique_ptr<ChildProcess> startDaemon(const std::string& name) {
    return std::make_unique<ChildProcess>(std::vector{name});
}

/// The output of pactl; nothing when it fails or hangs.
std::optional<std::string> ask(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "pactl");
    ChildProcess child(std::move(arguments), {{"LC_ALL", "C"}});
    const auto result = child.wait(answerSeconds);
    if (!result || result->exitStatus != 0) return std::nullopt;
    return child.standardOutput();
}

/// Nothing while the server does not answer.
std::optional<bool> isListed(const std::string& kind, const std::string& name) {
    const auto listing = ask({"list", "short", kind});
    if (!listing) return std::nullopt;
    return listing->find("\t" + name + "\t") != std::string::npos;
}

std::string properties(const std::string& kind, const std::string& description) {
    // Quoted twice: for the list of arguments, and for the list of properties in it.
    return kind + "_properties='device.description=\"" + description + "\"'";
}

bool acceptsConnections(const std::filesystem::path& socketPath) {
    const Descriptor client(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    socketPath.string().copy(address.sun_path, sizeof address.sun_path - 1);
    return connect(client.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

/// Keeps WirePlumber away from the machine's own devices. Its Bluetooth monitor would also require a login
/// service, which a bare machine does not have.
void disableHardware(const std::filesystem::path& configuration) {
    const auto disable = [&](const char* part, std::initializer_list<const char*> monitors) {
        const auto folder = configuration / "wireplumber" / part;
        std::filesystem::create_directories(folder);
        std::ofstream file(folder / "80-private.lua");
        for (const char* monitor : monitors)
            file << monitor << ".enabled = false\n";
    };
    disable("main.lua.d", {"alsa_monitor", "v4l2_monitor", "libcamera_monitor"});
    disable("bluetooth.lua.d", {"bluez_monitor"});
}

}  // namespace

SoundServer::SoundServer(std::shared_ptr<const Session> session) : session_(std::move(session)) {
    start();
}

void SoundServer::mustBecome(const std::function<bool()>& condition, const std::string& complaint) {
    if (eventually(condition, startTimeout, std::chrono::milliseconds(20))) return;
    std::string text = complaint;
    for (const auto* daemon : {&server_, &manager_, &pulse_}) {
        if (*daemon) text += "\n" + (*daemon)->standardError();
    }
    throw std::runtime_error(text);
}

void SoundServer::start() {
    disableHardware(session_->home() / ".config");
    // Servers and clients create this folder when it is missing, and the server fails when a client was
    // faster.
    std::filesystem::create_directories(session_->runtimeFolder() / "pulse");
    std::filesystem::permissions(session_->runtimeFolder() / "pulse", std::filesystem::perms::owner_all);
    pulse_.reset();
    manager_.reset();
    server_ = startDaemon("pipewire");
    // The others exit when there is no server yet.
    mustBecome([&] { return acceptsConnections(session_->runtimeFolder() / "pipewire-0"); },
               "The private sound server does not start.");
    manager_ = startDaemon("wireplumber");
    pulse_ = startDaemon("pipewire-pulse");
    mustBecome([] { return ask({"info"}).has_value(); }, "The private sound server does not answer.");
    addDevices();
}

void SoundServer::addDevices() {
    speaker_ = addSpeaker("spk", "Speaker");
    microphone_ = addMicrophone("mic", "Microphone");
    setDefaultSink("spk");
    setDefaultSource("mic");
}

void SoundServer::awaitDevice(const std::string& kind, const std::string& name, bool present) {
    mustBecome([&] { return isListed(kind, name) == present; },
               name + (present ? " does not appear." : " does not disappear."));
}

std::string SoundServer::pactl(std::vector<std::string> arguments) {
    // While the session manager restarts, a connection may hang.
    mustBecome([] { return ask({"info"}).has_value(); }, "The private sound server does not answer.");
    arguments.insert(arguments.begin(), "pactl");
    return runProgram(std::move(arguments), {{"LC_ALL", "C"}});
}

unsigned SoundServer::loadModule(const std::string& name, const std::vector<std::string>& arguments) {
    std::vector<std::string> command{"load-module", name};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return static_cast<unsigned>(std::stoul(pactl(command)));
}

void SoundServer::unloadModule(unsigned number) {
    pactl({"unload-module", std::to_string(number)});
}

unsigned SoundServer::addSpeaker(const std::string& name, const std::string& description) {
    const auto load = [&] {
        return loadModule("module-null-sink", {"sink_name=" + name, properties("sink", description)});
    };
    unsigned module = load();
    // WirePlumber may overlook a device for good while it starts.
    if (!eventually([&] { return isListed("sinks", name) == true; }, std::chrono::seconds(5))) {
        unloadModule(module);
        module = load();
    }
    awaitDevice("sinks", name);
    return module;
}

SoundServer::Microphone SoundServer::addMicrophone(const std::string& name, const std::string& description) {
    const unsigned feed = addSpeaker(name + "feed", description + " feed");
    const unsigned source = loadModule(
        "module-remap-source",
        {"master=" + name + "feed.monitor", "source_name=" + name, properties("source", description)});
    awaitDevice("sources", name);
    return {feed, source};
}

void SoundServer::setDefault(const std::string& kind, const std::string& name) {
    // Repeated: WirePlumber drops a request for a device that it does not know yet.
    const auto isDefault = [&] {
        if (ask({"get-default-" + kind}) == name + "\n") return true;
        ask({"set-default-" + kind, name});
        return false;
    };
    mustBecome(isDefault, name + " does not become the default " + kind + ".");
}

void SoundServer::kill() {
    for (auto* daemon : {pulse_.get(), manager_.get(), server_.get()}) {
        daemon->signal(SIGKILL);
        daemon->mustEnd(startTimeout.count());
    }
}

void SoundServer::restartManager() {
    manager_->signal(SIGKILL);
    manager_->mustEnd(startTimeout.count());
    for (const unsigned module : {microphone_.source, microphone_.feed, speaker_})
        unloadModule(module);
    manager_ = startDaemon("wireplumber");
    addDevices();
}

}  // namespace lumicrate::stage
