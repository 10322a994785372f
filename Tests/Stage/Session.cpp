// SPDX-License-Identifier: GPL-3.0-or-later
#include "Tests/Stage/Session.h"

#include <cstdlib>

namespace lumicrate::stage {

namespace {

std::string busAddress(const std::filesystem::path& folder) {
    return "unix:path=" + (folder / "run/bus").string();
}

Environment makeSession(const std::filesystem::path& folder) {
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
        {"DBUS_SESSION_BUS_ADDRESS", busAddress(folder)},
        // Variables of the user's own session that would lead out of this one.
        {"XDG_SESSION_TYPE", std::nullopt},
        {"WAYLAND_DISPLAY", std::nullopt},
        {"PULSE_SERVER", std::nullopt},
        {"PIPEWIRE_REMOTE", std::nullopt},
        {"PIPEWIRE_RUNTIME_DIR", std::nullopt},
        // Texts are expected in English.
        {"LANGUAGE", std::nullopt},
        {"LC_ALL", std::nullopt},
        {"LC_MESSAGES", std::nullopt},
        {"LANG", std::nullopt},
    };
}

}  // namespace

Environment ScopedEnvironment::exchange(const Environment& values) {
    Environment previous;
    for (const auto& [name, value] : values) {
        const char* old = std::getenv(name.c_str());
        previous[name] = old != nullptr ? std::optional<std::string>(old) : std::nullopt;
        value ? setenv(name.c_str(), value->c_str(), 1) : unsetenv(name.c_str());
    }
    return previous;
}

Session::Session()
    : environment_(makeSession(folder_.path())),
      bus_({"dbus-daemon", "--session", "--nofork", "--nopidfile", "--print-address",
            "--address=" + busAddress(folder_.path())}) {
    bus_.readLine();
}

}  // namespace lumicrate::stage
