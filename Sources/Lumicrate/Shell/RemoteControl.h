// SPDX-License-Identifier: GPL-3.0-or-later
// RemoteControl: commands and status of the running application, for other programs and key bindings.
#pragma once

#include "Lumicrate/Recording/RawValues.h"
#include "Lumicrate/Recording/ScreenRecorder.h"

#include <array>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace lumicrate {

enum class RemoteCommand { activate, toggle, pause, area, quit };

template <>
struct RawValues<RemoteCommand> {
    static constexpr std::array<std::string_view, 5> names = {"activate", "toggle", "pause", "area", "quit"};
};

/// What the application is doing now.
struct RemoteStatus {
    std::string state;                 ///< the name of the ScreenRecorder::State
    double elapsed = 0;                ///< seconds recorded; 0 unless recording or paused
    std::optional<std::string> file;   ///< the file being written
    std::optional<std::string> error;  ///< the last error

    bool operator==(const RemoteStatus&) const = default;
};

/// {"state":"recording","elapsed":12.5,"file":"…"}; absent members are left out.
std::string toJSON(const RemoteStatus& status);
/// The inverse of toJSON(). Nothing if the text is not such JSON.
std::optional<RemoteStatus> parseRemoteStatus(std::string_view text);

/// Main thread only.
class RemoteControl {
 public:
    struct Actions {
        std::function<void()> activate;  ///< brings the main window to the front
        std::function<void()> quit;
        std::function<void(const std::filesystem::path&)> open;  ///< shows a recording in its preview
    };

    /// `recorder` must outlive this object.
    RemoteControl(ScreenRecorder& recorder, Actions actions);

    void perform(RemoteCommand command);
    void open(const std::filesystem::path& url) { actions_.open(url); }
    RemoteStatus status() const;

 private:
    ScreenRecorder& recorder_;
    Actions actions_;
};

}  // namespace lumicrate
