// SPDX-License-Identifier: GPL-3.0-or-later
// All windows as assistive technology gets them from the accessibility bus, opened and used by keys alone.
#include "Tests/App/DesktopAppTest.h"

#include <algorithm>
#include <sstream>

namespace lumicrate::test {
namespace {

using nlohmann::json;

class AccessibilityTests : public DesktopAppTest {
 protected:
    AccessibilityTests() : DesktopAppTest(false) {}

    void open(const std::string& mode) {
        prefer("countdown=false\ncaptureMode=" + mode + "\n");
        app.reset();
        app.emplace(std::vector<std::string>{},
                    stage::Environment{{"QT_LINUX_ACCESSIBILITY_ALWAYS_ON", "1"}});
        awaitWindow("^Lumicrate$");
    }
    static void awaitWindow(const std::string& title) {
        xdotool({"search", "--sync", "--onlyvisible", "--name", title, "windowfocus", "--sync"});
    }
    static void press(const std::string& keys) {
        std::istringstream words(keys);
        for (std::string key; words >> key;)
            xdotool({"key", key});
    }
    /// What is visible. Fails the test for each object with a problem.
    static std::vector<json> tree() {
        std::istringstream lines(stage::runProgram({"/usr/bin/python3", ACCESSIBLE_TREE}));
        std::vector<json> all;
        for (std::string line; std::getline(lines, line);) {
            all.push_back(json::parse(line));
            EXPECT_EQ(all.back()["problem"], "") << line;
        }
        return all;
    }
    /// The object of that role whose name begins so, once it is there and `holds`; none after a while.
    static std::optional<json> await(const std::string& role, const std::string& name,
                                     const std::function<bool(const json&)>& holds = {}) {
        std::optional<json> found;
        const bool came = eventually([&] {
            const std::vector<json> all = tree();
            const auto each = std::ranges::find_if(all, [&](const json& object) {
                return object["role"] == role && object["name"].get<std::string>().starts_with(name) &&
                       (!holds || holds(object));
            });
            if (each == all.end()) return false;
            found = *each;
            return true;
        });
        EXPECT_TRUE(came) << role << " " << name;
        return found;
    }
    static bool has(const json& object, const std::string& state) {
        return std::ranges::count(object["states"], state) > 0;
    }
    static bool isFocused(const json& object) { return has(object, "focused"); }
};

TEST_F(AccessibilityTests, EveryWindowIsNamedAndOpenedByKeys) {
    struct Step {
        std::string keys;
        std::string role;
        std::string name;
    };
    const auto follow = [](const std::vector<Step>& steps) {
        for (const auto& [keys, role, name] : steps) {
            SCOPED_TRACE(keys);
            press(keys);
            await(role, name);
        }
    };
    recordToEnd({"--screen", "--duration", "1"});
    open("screen");
    std::filesystem::create_directories(desktop().session().home() / "Videos" / "Lumicrate");
    std::filesystem::rename(file, desktop().session().home() / "Videos" / "Lumicrate" / "Clip.mp4");
    await("list item", "Clip");
    follow({{"ctrl+comma", "frame", "Lumicrate Settings"},
            {"Down", "combo box", "Resolution"},
            {"Down", "check box", "Mirror"},
            {"Down", "combo box", "Microphone"},
            {"Down", "push button", "Start / stop recording"}});
    press("Escape");
    awaitWindow("^Lumicrate$");
    // The menu of a row, and the row.
    press("shift+Tab Down Menu");
    await("menu item", "Rename");
    press("Escape Return");
    awaitWindow("Clip");
    follow(
        {{"F2", "text", "Name"}, {"Escape g", "menu item", ""}, {"Escape t", "slider", "Start of the part"}});
    press("Tab Tab Tab Tab Tab Tab Tab");
    await("slider", "Start of the part", isFocused);
    press("Right");
    const auto moved =
        await("slider", "Start of the part", [](const json& end) { return end["value"][1] > 0; });
    press("Escape ctrl+w");
}

TEST_F(AccessibilityTests, WhatARecordingNeedsIsNamedAndReachedByKeys) {
    open("area");
    await("radio button", "Area", [](const json& mode) { return has(mode, "checked"); });
    press("ctrl+r");
    await("push button", "Full Screen");
    press("f");
    await("text", "Width");
    press("alt+Left alt+Up");
    await("canvas", "Selection");
    press("Tab");
    await("push button", "Aspect", isFocused);
    press("Return");
    awaitState("recording");
    await("tool bar", "Recording controls");
    await("label", "Elapsed time");
    press("alt+super+r");
    awaitState("idle");
    for (const auto& [mode, role, name] :
         {std::tuple{"audio", "progress bar", "Microphone level"}, {"webcam", "tool bar", "Webcam"}}) {
        open(mode);
        press("ctrl+r");
        await(role, name);
    }
}

}  // namespace
}  // namespace lumicrate::test
