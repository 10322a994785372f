// What the windows of settings are made with: preferences and services of a test, keys of a real display.
#pragma once

#include "Lumicrate/Recording/RecordingOptions.h"
#include "Lumicrate/Settings/SettingsModel.h"
#include "Tests/Linux/Desktop/EventLoop.h"
#include "Tests/Lumicrate/FakePlatform.h"
#include "Tests/Lumicrate/Settings/SettingsFakes.h"
#include "Tests/Stage/ChildProcess.h"
#include "Views/Desktop/KeyMonitor.h"
#include "Views/Settings/SettingsWindow.h"

#include <xcb/xcb.h>

#include <QApplication>
#include <cstdlib>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace lumicrate::test {

/// The display's keyboard.
class Keyboard {
 public:
    Keyboard() : connection_(xcb_connect(nullptr, nullptr)) {}
    ~Keyboard() { xcb_disconnect(connection_); }
    Keyboard(const Keyboard&) = delete;
    Keyboard& operator=(const Keyboard&) = delete;

    views::KeyMonitor::Keyboard names() {
        return {[this](std::uint32_t xKeycode) { return keysym(xKeycode); },
                [this](std::uint32_t xKeycode) {
                    static const std::map<std::uint32_t, std::int64_t> codes = {
                        {'k', 40},     {'t', 17},    {'p', 35},    {'1', 18},    {0xff1b, 53},
                        {0xffff, 117}, {0xff08, 51}, {0xffc2, 96}, {0xff0d, 36}, {' ', 49}};
                    const auto found = codes.find(keysym(xKeycode));
                    return found == codes.end() ? std::int64_t{-1} : found->second;
                }};
    }

 private:
    std::uint32_t keysym(std::uint32_t xKeycode) const {
        const auto cookie = xcb_get_keyboard_mapping(connection_, static_cast<xcb_keycode_t>(xKeycode), 1);
        auto* reply = xcb_get_keyboard_mapping_reply(connection_, cookie, nullptr);
        if (reply == nullptr) return 0;
        const std::uint32_t sym = *xcb_get_keyboard_mapping_keysyms(reply);
        std::free(reply);
        return sym;
    }

    xcb_connection_t* connection_;
};

struct SettingsStage {
    SettingsStage() { RecordingOptions::registerDefaults(defaults); }

    std::unique_ptr<SettingsModel> model() {
        return std::make_unique<SettingsModel>(SettingsModel::Services{
            {defaults, center, monitor, [this] { bindShortcuts(center, defaults, [](ShortcutAction) {}); },
             [this] { ++beeps; }},
            login,
            microphones,
            unavailable,
            "/home/me/Videos/Lumicrate",
            "/home/me",
            [] { throw PlatformError("There is no file viewer to open it with."); }});
    }

    FakeDefaults defaults;
    FakeHotKeys hotKeys;
    HotKeyCenter center{hotKeys};
    Keyboard keyboard;
    views::KeyMonitor monitor{keyboard.names()};
    FakeLoginService login;
    Published<std::vector<CaptureDevice>> microphones;
    Published<std::vector<std::string>> unavailable;
    int beeps = 0;
};

}  // namespace lumicrate::test
