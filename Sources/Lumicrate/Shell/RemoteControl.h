// SPDX-License-Identifier: GPL-3.0-or-later
// RemoteControl: commands, status and events of the running application, for other programs and key bindings.
#pragma once

#include "Lumicrate/Recording/RawValues.h"
#include "Lumicrate/Recording/ScreenRecorder.h"
#include "Lumicrate/Replay/Replay.h"
#include "Support/Notifications.h"
#include "Support/Published.h"

#include <array>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace lumicrate {

enum class RemoteCommand { toggle, stop, pause, resume, togglePause, saveReplay, recordReplay, quit };

template <>
struct RawValues<RemoteCommand> {
    static constexpr std::array<std::string_view, 8> names = {
        "toggle", "stop", "pause", "resume", "togglePause", "saveReplay", "recordReplay", "quit"};
};

/// What the application is doing now.
struct RemoteStatus {
    std::string state;                         ///< the name of the ScreenRecorder::State
    double elapsed = 0;                        ///< seconds recorded; 0 unless recording or paused
    std::optional<std::string> file;           ///< the file being written
    std::optional<std::string> error;          ///< the last error
    std::optional<std::string> lastRecording;  ///< the file that was saved last
    /// What is kept of the last seconds; absent while nothing is kept.
    struct Replay {
        double seconds = 0;
        std::uint64_t bytes = 0;
        bool operator==(const Replay&) const = default;
    };
    std::optional<Replay> replay = {};

    bool operator==(const RemoteStatus&) const = default;
};

/// {"state":"recording","elapsed":12.5,"file":"…"}; absent members are left out.
std::string toJSON(const RemoteStatus& status);

/// Main thread only.
class RemoteControl {
 public:
    /// What happens in the recorder, whoever caused it.
    struct Events {
        std::function<void(const RemoteStatus&)>
            changed;  ///< anything but `elapsed`, which goes on by itself
        std::function<void(const std::filesystem::path&)> started;  ///< with the file being written
        std::function<void(const std::filesystem::path&)> saved;
        /// A recording did not start, or ended by itself, in which case it is saved nevertheless; or the last
        /// seconds could not be kept or saved.
        std::function<void(const std::string& sentence)> failed;
    };

    /// The references must outlive this object.
    RemoteControl(Executor& executor, ScreenRecorder& recorder, Replay& replay,
                  NotificationCenter& notifications, std::function<void()> quit);
    RemoteControl(const RemoteControl&) = delete;
    RemoteControl& operator=(const RemoteControl&) = delete;

    /// Throws LocalizedError if there is no replay to save.
    void perform(RemoteCommand command);
    RemoteStatus status() const;
    void setEvents(Events events) { events_ = std::move(events); }

 private:
    void announce() const;
    void stateChanges(ScreenRecorder::State coming);
    RemoteStatus statusIn(ScreenRecorder::State state) const;

    ScreenRecorder& recorder_;
    Replay& replay_;
    std::function<void()> quit_;
    Events events_;
    std::optional<std::string> lastSaved_;
    bool hasStarted_ = false;               ///< the present attempt got as far as recording
    std::shared_ptr<RemoteControl*> self_;  ///< posted work holds it weakly
    Subscription states_;
    Subscription errors_;
    Subscription saves_;
    Subscription replayErrors_;
};

}  // namespace lumicrate
