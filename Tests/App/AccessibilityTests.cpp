// SPDX-License-Identifier: GPL-3.0-or-later
// All windows as assistive technology gets them from the accessibility bus, opened and used by keys alone.
#include "Tests/App/DesktopAppTest.h"
#include "Tests/Linux/PipeWire/VirtualCamera.h"

#include <algorithm>
#include <functional>
#include <sstream>

namespace lumicrate::test {
namespace {

using nlohmann::json;

class AccessibilityTests : public DesktopAppTest {
 protected:
    AccessibilityTests() : DesktopAppTest(true) {}

    void open(const std::string& mode, const std::string& preference = {},
              stage::Environment environment = {}) {
        prefer("countdown=false\ncaptureMode=" + mode + "\n" + preference);
        app.reset();
        environment["QT_LINUX_ACCESSIBILITY_ALWAYS_ON"] = "1";
        app.emplace(std::vector<std::string>{}, environment);
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
        return std::count(object["states"].begin(), object["states"].end(), json(state)) > 0;
    }
    static bool isFocused(const json& object) { return has(object, "focused"); }
};

TEST_F(AccessibilityTests, WindowsAreExposedAndUsedByKeys) {
    const std::filesystem::path library = desktop().session().home() / "Videos" / "Lumicrate";
    std::filesystem::create_directories(library);
    file = library / "Clip.mp4";
    RunningScene scene({"moving", "--fps", "9", "--seconds", "2"});
    recordToEnd({"--screen", "--duration", "1"});
    open("screen");
    await("list item", "Clip");
    awaitWindow("^Lumicrate$");
    press("ctrl+comma");
    awaitWindow("Settings$");
    for (const char* page : {"General", "Video", "Webcam", "Audio", "Shortcuts"}) {
        await("list item", page, [](const json& item) { return has(item, "selected"); });
        press("Down");
    }
    press("Escape");
    awaitWindow("^Lumicrate$");
    // To the first recording.
    press("shift+Tab Down Return");
    awaitWindow("Clip");
    await("slider", "Position", [](const json& slider) { return slider["value"][2] > 0; });
    press("t");
    await("slider", "End of the part");
    press("Tab Tab Tab Tab Tab Tab Tab Right");
    await("slider", "Start of the part",
          [](const json& end) { return isFocused(end) && end["value"][1] > 0; });
}

TEST_F(AccessibilityTests, WhatARecordingNeedsIsNamedAndReachedByKeys) {
    open("area");
    await("radio button", "Area", [](const json& mode) { return has(mode, "checked"); });
    press("ctrl+r");
    await("push button", "Full Screen");
    press("f");
    await("text", "Width");
    press("alt+Left");
    await("canvas", "Selection", [](const json& selection) {
        return selection["description"].get<std::string>().starts_with(std::to_string(width - 1));
    });
    press("Tab");
    await("push button", "Aspect", isFocused);
    press("Return");
    awaitState("recording");
    await("tool bar", "Recording controls");
    await("label", "Elapsed time");
    press("alt+super+r");
    awaitState("idle");
    open("audio");
    press("ctrl+r");
    await("progress bar", "Microphone level");
}

TEST_F(AccessibilityTests, TheOtherWindowsAreNamedAndReachedByKeys) {
    const stage::VirtualCamera camera({});
    stage::runProgram({"xrandr", "--setmonitor", "*MAIN", "640/170x800/210+0+0", "screen"});
    stage::runProgram({"xrandr", "--setmonitor", "RIGHT", "640/170x800/210+640+0", "none"});
    struct Window {
        const char* mode;
        const char* preference;
        stage::Environment environment;
        const char* keys;
        const char* button;  ///< of that window alone
    };
    const Window windows[] = {
        {"screen", "welcomeShown=false\n", {}, "", "Get Started"},
        {"screen", "", {{"PIPEWIRE_REMOTE", "none"}}, "", "Try Again"},
        {"screen", "", {}, "shift+Tab Return Up Up Return", "Copy Diagnostics"},
        {"screen", "", {}, "ctrl+r", "Record This Screen"},
        {"webcam", "", {}, "ctrl+r", "Record"},
    };
    for (const Window& window : windows) {
        SCOPED_TRACE(window.button);
        open(window.mode, window.preference, window.environment);
        press(window.keys);
        await("push button", window.button, [](const json& button) { return has(button, "focusable"); });
    }
}

}  // namespace
}  // namespace lumicrate::test
