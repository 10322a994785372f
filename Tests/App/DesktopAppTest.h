// SPDX-License-Identifier: GPL-3.0-or-later
// DesktopAppTest: the desktop application on a private desktop, driven by keys, clicks and commands.
#pragma once

#include "Tests/App/ProgramTest.h"

#include <nlohmann/json.hpp>

#include <fstream>
#include <stdexcept>

namespace lumicrate::test {

class DesktopAppTest : public ProgramTest {
 protected:
    static constexpr int width = 1280;
    static constexpr int height = 800;

    explicit DesktopAppTest(bool sound)
        : ProgramTest({.display = {width, height, true, false}, .sound = sound}) {
        std::filesystem::remove_all(desktop().session().home() / "Videos" / "Lumicrate");
    }

    /// Writes the preferences, one per line, for the next start.
    static void prefer(const std::string& lines) {
        const auto file = desktop().session().home() / ".config" / "Lumicrate" / "lumicrate.conf";
        std::filesystem::create_directories(file.parent_path());
        std::ofstream(file) << "[General]\nwelcomeShown=true\n" << lines;
    }
    void start(const stage::Environment& environment = {}) {
        app.reset();
        app.emplace(std::vector<std::string>{"--background"}, environment);
        awaitState("idle");
    }
    static void send(const std::string& command) { EXPECT_EQ(run({command}).status, 0) << command; }
    static nlohmann::json status() {
        const Outcome outcome = run({"status", "--json"});
        return outcome.status == 0 ? nlohmann::json::parse(outcome.output) : nlohmann::json{{"state", ""}};
    }
    static nlohmann::json awaitState(const std::string& state) {
        nlohmann::json now;
        if (!eventually([&] { return (now = status())["state"] == state; }))
            throw std::runtime_error("The application never gets into the state " + state);
        return now;
    }
    static std::filesystem::path awaitRecording() {
        return awaitState("recording")["file"].get<std::string>();
    }
    static std::vector<std::filesystem::path> recordings() {
        std::vector<std::filesystem::path> files;
        for (const auto& recording : nlohmann::json::parse(run({"recordings", "--json"}).output))
            files.emplace_back(recording["path"].get<std::string>());
        return files;
    }
    static void click(int x, int y, const char* button = "1") {
        xdotool({"mousemove", std::to_string(x), std::to_string(y), "click", button});
    }

    std::optional<Program> app;
};

}  // namespace lumicrate::test
