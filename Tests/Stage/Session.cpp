#include "Tests/Stage/Session.h"

#include <cstdlib>
#include <stdexcept>
#include <system_error>

namespace lumicrate::stage {

namespace {

constexpr double startSeconds = 30;

Environment sessionEnvironment(const std::filesystem::path& folder) {
    const auto home = folder / "home";
    const auto run = folder / "run";
    std::filesystem::create_directories(home);
    std::filesystem::create_directories(run);
    std::filesystem::permissions(run, std::filesystem::perms::owner_all);
    return {
        {"HOME", home.string()},
        {"XDG_RUNTIME_DIR", run.string()},
        {"XDG_CONFIG_HOME", (home / ".config").string()},
        {"XDG_STATE_HOME", (home / ".local/state").string()},
        {"XDG_DATA_HOME", (home / ".local/share").string()},
        {"XDG_CACHE_HOME", (home / ".cache").string()},
        {"DBUS_SESSION_BUS_ADDRESS", "unix:path=" + (run / "bus").string()},
        // Left-overs of the user's own session that would lead out of this one.
        {"XDG_SESSION_TYPE", std::nullopt},
        {"WAYLAND_DISPLAY", std::nullopt},
        {"PULSE_SERVER", std::nullopt},
        {"PIPEWIRE_REMOTE", std::nullopt},
        {"PIPEWIRE_RUNTIME_DIR", std::nullopt},
    };
}

ChildProcess::Options busOptions() {
    ChildProcess::Options options;
    options.output = ChildProcess::Output::Capture;
    return options;
}

}  // namespace

ScopedEnvironment::ScopedEnvironment(const Environment& changes) {
    for (const auto& [name, value] : changes) {
        const char* old = std::getenv(name.c_str());
        previous_[name] = old != nullptr ? std::optional<std::string>(old) : std::nullopt;
    }
    apply(changes);
}

ScopedEnvironment::~ScopedEnvironment() {
    apply(previous_);
}

void ScopedEnvironment::apply(const Environment& values) {
    for (const auto& [name, value] : values) {
        if (value) {
            setenv(name.c_str(), value->c_str(), 1);
        } else {
            unsetenv(name.c_str());
        }
    }
}

StageFolder::StageFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "lumicrate-stage-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("No temporary folder could be made");
    path_ = name;
}

StageFolder::~StageFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

Session::Session()
    : environment_(sessionEnvironment(folder_.path())),
      applied_(environment_),
      bus_({"dbus-daemon", "--session", "--nofork", "--nopidfile", "--print-address",
            "--address=" + busAddress()},
           busOptions()) {
    if (!bus_.readLine(startSeconds)) {
        throw std::runtime_error("The private message bus did not start: " + bus_.standardError());
    }
}

std::string Session::busAddress() const {
    return *environment_.at("DBUS_SESSION_BUS_ADDRESS");
}

}  // namespace lumicrate::stage
