// DrivenApp: the application on the private desktop of a test program, driven by keys, clicks and commands.
#pragma once

#include "Tests/App/Recording.h"
#include "Tests/Stage/PrivateDesktop.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace lumicrate::test {

/// Of the whole program; set by main.
inline stage::PrivateDesktop* desktop = nullptr;

inline void xdotool(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "xdotool");
    stage::runProgram(arguments);
}

/// Looks again and again, for ten seconds at most.
inline bool comesTrue(const std::function<bool()>& condition) {
    for (int i = 0; i < 400; ++i) {
        if (condition()) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(25));
    }
    return false;
}

/// The application's preferences, and the application while a test has it.
class DrivenApp : public testing::Test {
 protected:
    static std::filesystem::path recordingsFolder() {
        return desktop->session().home() / "Videos" / "Lumicrate";
    }
    static std::filesystem::path preferencesFile() {
        return desktop->session().home() / ".config" / "Lumicrate" / "lumicrate.conf";
    }
    static void prefer(const std::string& lines) {
        std::filesystem::create_directories(preferencesFile().parent_path());
        std::ofstream(preferencesFile()) << "[General]\n" << lines;
    }

    void start(const stage::Environment& environment = {}) {
        app.reset();
        app.emplace(std::vector<std::string>{"--background"}, environment);
        awaitState("idle");
    }
    static nlohmann::json status() {
        const Outcome outcome = run({"status", "--json"});
        return outcome.status == 0 ? nlohmann::json::parse(outcome.output) : nlohmann::json{{"state", ""}};
    }
    static nlohmann::json awaitState(const std::string& state) {
        for (int i = 0; i < 300; ++i) {
            nlohmann::json now = status();
            if (now["state"] == state) return now;
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
        throw std::runtime_error("The application never comes to be " + state);
    }
    static std::vector<std::filesystem::path> recordings() {
        std::vector<std::filesystem::path> files;
        for (const auto& each : nlohmann::json::parse(run({"recordings", "--json"}).output))
            files.emplace_back(each["path"].get<std::string>());
        return files;
    }
    static void click(std::pair<int, int> place) {
        xdotool({"mousemove", std::to_string(place.first), std::to_string(place.second), "click", "1"});
    }

    std::optional<Program> app;
};

}  // namespace lumicrate::test
