#include "Tests/Stage/SoundServer.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <chrono>
#include <fstream>
#include <initializer_list>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace lumicrate::stage {

namespace {

constexpr double startSeconds = 30;
// A client of a server that is only half there hangs; it is given this long and then asked again.
constexpr double answerSeconds = 5;
// Between two questions to the server.
constexpr auto lookInterval = std::chrono::milliseconds(20);

using Clock = std::chrono::steady_clock;

Clock::time_point startDeadline() {
    return Clock::now() + std::chrono::seconds(static_cast<int>(startSeconds));
}

// What pactl answers; nothing when it cannot, or not soon.
std::optional<std::string> ask(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "pactl");
    ChildProcess::Options options;
    options.output = ChildProcess::Output::Capture;
    options.environment = {{"LC_ALL", "C"}};
    ChildProcess child(std::move(arguments), options);
    const auto result = child.wait(answerSeconds);
    if (!result || result->exitStatus != 0) return std::nullopt;
    return child.standardOutput();
}

// Whether a "pactl list short" has a line of that name in its second column.
bool lists(const std::string& listing, const std::string& name) {
    return listing.find("\t" + name + "\t") != std::string::npos;
}

std::string properties(const std::string& kind, const std::string& description) {
    // Quoted twice: once for the list of arguments, once for the list of properties in it.
    return kind + "_properties='device.description=\"" + description + "\"'";
}

bool answersAt(const std::filesystem::path& socketPath) {
    const Descriptor client(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    socketPath.string().copy(address.sun_path, sizeof address.sun_path - 1);
    return connect(client.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

// Keeps the session manager away from the machine's devices, which are not ours to take. Looking for
// Bluetooth ones it would also insist on a login service, which a bare machine does not have.
void leaveDevicesAlone(const std::filesystem::path& configuration) {
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

// Server and clients make the folder of their socket when it is missing, and the server gives up when a
// client has been quicker by a hair.
void makePulseFolder(const std::filesystem::path& runtimeFolder) {
    std::filesystem::create_directories(runtimeFolder / "pulse");
    std::filesystem::permissions(runtimeFolder / "pulse", std::filesystem::perms::owner_all);
}

/// Nothing while the server does not answer.
std::optional<bool> isListed(const std::string& kind, const std::string& name) {
    const auto listing = ask({"list", "short", kind});
    if (!listing) return std::nullopt;
    return lists(*listing, name);
}

}  // namespace

SoundServer::SoundServer() : ownSession_(std::make_unique<Session>()), session_(ownSession_.get()) {
    start();
}

SoundServer::SoundServer(const Session& session) : session_(&session) {
    start();
}

void SoundServer::start() {
    leaveDevicesAlone(session_->environment().at("XDG_CONFIG_HOME").value());
    makePulseFolder(session_->runtimeFolder());
    server_ = startDaemon("pipewire");
    awaitSocket();
    manager_ = startDaemon("wireplumber");
    pulse_ = startDaemon("pipewire-pulse");
    awaitAnswer();
    addDevices();
}

void SoundServer::addDevices() {
    speaker_ = addSpeaker("spk", "Speaker");
    microphone_ = addMicrophone("mic", "Microphone");
    setDefaultSink("spk");
    setDefaultSource("mic");
}

std::unique_ptr<ChildProcess> SoundServer::startDaemon(const std::string& name) const {
    ChildProcess::Options options;
    options.output = ChildProcess::Output::File;
    options.outputFile = session_->folder() / (name + ".log");
    return std::make_unique<ChildProcess>(std::vector<std::string>{name}, options);
}

std::string SoundServer::complaint(const std::string& what) const {
    std::string text = what;
    for (const auto* name : {"pipewire", "wireplumber", "pipewire-pulse"}) {
        std::ifstream log(session_->folder() / (std::string(name) + ".log"));
        std::stringstream all;
        all << log.rdbuf();
        const auto words = all.str();
        constexpr std::size_t tail = 600;
        text += "\n" + std::string(name) + ": " + words.substr(words.size() > tail ? words.size() - tail : 0);
    }
    return text;
}

// The others give up when they find no server at their start.
void SoundServer::awaitSocket() {
    const auto deadline = startDeadline();
    while (!answersAt(session_->runtimeFolder() / "pipewire-0")) {
        if (Clock::now() > deadline || !server_->isRunning()) {
            throw std::runtime_error(complaint("The private sound server does not start."));
        }
        std::this_thread::sleep_for(lookInterval);
    }
}

void SoundServer::awaitAnswer() {
    const auto deadline = startDeadline();
    while (!ask({"info"})) {
        if (Clock::now() > deadline)
            throw std::runtime_error(complaint("The private sound server does not answer."));
        for (auto* daemon : {server_.get(), manager_.get(), pulse_.get()}) {
            if (!daemon->isRunning()) throw std::runtime_error(complaint("The private sound server ended."));
        }
        std::this_thread::sleep_for(lookInterval);
    }
}

void SoundServer::awaitDevice(const std::string& kind, const std::string& name, bool present) {
    const auto deadline = startDeadline();
    while (isListed(kind, name) != present) {
        if (Clock::now() > deadline) {
            throw std::runtime_error(complaint(name + (present ? " does not appear" : " does not go") + "."));
        }
        std::this_thread::sleep_for(lookInterval);
    }
}

std::string SoundServer::pactl(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "pactl");
    return runProgram(std::move(arguments), {{"LC_ALL", "C"}}, startSeconds);
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
    const auto patience = Clock::now() + std::chrono::seconds(5);
    unsigned module = load();
    while (isListed("sinks", name) != true && Clock::now() < patience)
        std::this_thread::sleep_for(lookInterval);
    if (isListed("sinks", name) != true) {
        // A session manager that is still starting may overlook a device for good.
        unloadModule(module);
        module = load();
    }
    awaitDevice("sinks", name);
    return module;
}

SoundServer::Microphone SoundServer::addMicrophone(const std::string& name, const std::string& description) {
    Microphone added;
    added.feed = addSpeaker(name + "feed", description + " feed");
    added.source = loadModule(
        "module-remap-source",
        {"master=" + name + "feed.monitor", "source_name=" + name, properties("source", description)});
    awaitDevice("sources", name);
    return added;
}

void SoundServer::setDefaultSink(const std::string& name) {
    const auto deadline = startDeadline();
    // Asked for again and again: the session manager may drop a wish that comes before it knows the device.
    while (ask({"get-default-sink"}).value_or("") != name + "\n") {
        if (Clock::now() > deadline)
            throw std::runtime_error(complaint(name + " does not become the default sink."));
        ask({"set-default-sink", name});
        std::this_thread::sleep_for(lookInterval);
    }
}

void SoundServer::setDefaultSource(const std::string& name) {
    const auto deadline = startDeadline();
    while (ask({"get-default-source"}).value_or("") != name + "\n") {
        if (Clock::now() > deadline)
            throw std::runtime_error(complaint(name + " does not become the default source."));
        ask({"set-default-source", name});
        std::this_thread::sleep_for(lookInterval);
    }
}

void SoundServer::kill() {
    for (auto* daemon : {pulse_.get(), manager_.get(), server_.get()}) {
        daemon->signal(SIGKILL);
        daemon->mustEnd(startSeconds);
    }
}

void SoundServer::restartManager() {
    manager_->signal(SIGKILL);
    manager_->mustEnd(startSeconds);
    for (const unsigned module : {microphone_.source, microphone_.feed, speaker_})
        unloadModule(module);
    manager_ = startDaemon("wireplumber");
    addDevices();
}

}  // namespace lumicrate::stage
