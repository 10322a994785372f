// RemoteControl: what other programs and key bindings can ask of the running application.
#pragma once

#include "Lumicrate/Recording/RawValues.h"
#include "Lumicrate/Recording/ScreenRecorder.h"

#include <array>
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

/// What the application is doing.
struct RemoteStatus {
    std::string state;                 ///< of the recorder, by the names of ScreenRecorder::State
    double elapsed = 0;                ///< seconds recorded; 0 while nothing is
    std::optional<std::string> file;   ///< being written
    std::optional<std::string> error;  ///< the last one

    bool operator==(const RemoteStatus&) const = default;
};

/// As JSON: {"state":"recording","elapsed":12.5,"file":"…"}; what is not there is left out.
std::string textOf(const RemoteStatus& status);
/// Nothing for a text that is none of ours.
std::optional<RemoteStatus> statusFrom(std::string_view text);

/// Main thread only.
class RemoteControl {
 public:
    /// `activate` brings the main window to the front, `quit` ends the application.
    RemoteControl(ScreenRecorder& recorder, std::function<void()> activate, std::function<void()> quit);

    void perform(RemoteCommand command);
    RemoteStatus status() const;

 private:
    ScreenRecorder& recorder_;
    std::function<void()> activate_;
    std::function<void()> quit_;
};

}  // namespace lumicrate
