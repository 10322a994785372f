// SPDX-License-Identifier: GPL-3.0-or-later
// LauncherActions: what the desktop's launchers offer in the menu of the program's icon.
#pragma once

#include "Lumicrate/Recording/RawValues.h"
#include "Lumicrate/Recording/ScreenRecorder.h"

#include <array>
#include <functional>
#include <string_view>
#include <utility>

namespace lumicrate {

/// The names are those of the actions in the desktop entry.
enum class LauncherAction { recordArea, recordScreen, recordSound, openRecordingsFolder };

template <>
struct RawValues<LauncherAction> {
    static constexpr std::array<std::string_view, 4> names = {"record-area", "record-screen", "record-sound",
                                                              "open-recordings-folder"};
};

/// Main thread only.
class LauncherActions {
 public:
    /// `recorder` must outlive this object.
    LauncherActions(ScreenRecorder& recorder, std::function<void()> openFolder)
        : recorder_(recorder), openFolder_(std::move(openFolder)) {}

    /// The actions that record are ignored while something is being recorded.
    void perform(LauncherAction action) {
        switch (action) {
            case LauncherAction::recordArea:
                return recorder_.record(CaptureMode::area);
            case LauncherAction::recordScreen:
                return recorder_.record(CaptureMode::screen);
            case LauncherAction::recordSound:
                return recorder_.record(CaptureMode::audio);
            case LauncherAction::openRecordingsFolder:
                return openFolder_();
        }
    }

 private:
    ScreenRecorder& recorder_;
    std::function<void()> openFolder_;
};

}  // namespace lumicrate
