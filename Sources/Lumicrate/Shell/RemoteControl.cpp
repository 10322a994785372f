// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Shell/RemoteControl.h"

#include "Support/Log.h"

#include <nlohmann/json.hpp>

#include <utility>

namespace lumicrate {

using State = ScreenRecorder::State;

std::string toJSON(const RemoteStatus& status) {
    nlohmann::ordered_json json{{"state", status.state}, {"elapsed", status.elapsed}};
    if (status.file) json["file"] = *status.file;
    if (status.error) json["error"] = *status.error;
    if (status.lastRecording) json["lastRecording"] = *status.lastRecording;
    if (status.replay)
        json["replay"] = {{"seconds", status.replay->seconds}, {"bytes", status.replay->bytes}};
    // File names are not necessarily UTF-8.
    return json.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

RemoteControl::RemoteControl(Executor& executor, ScreenRecorder& recorder, Replay& replay,
                             NotificationCenter& notifications, std::function<void()> quit)
    : recorder_(recorder),
      replay_(replay),
      quit_(std::move(quit)),
      self_(std::make_shared<RemoteControl*>(this)),
      states_(recorder_.state.observe([this](State coming) { stateChanges(coming); })),
      errors_(recorder_.errorMessage.observe([this, &executor](const std::optional<std::string>& coming) {
          // Posted, because an error usually ends the recording at once, which is announced anyway.
          if (coming)
              executor.post([weak = std::weak_ptr(self_)] {
                  const auto self = weak.lock();
                  if (self && (*self)->events_.changed && (*self)->recorder_.isActive())
                      (*self)->events_.changed((*self)->status());
              });
      })),
      saves_(notifications.observe(recordingSavedNotification,
                                   [this](const NotificationCenter::Object& url) {
                                       if (!url) return;
                                       lastSaved_ = url->string();
                                       if (events_.saved) events_.saved(*url);
                                       if (*recorder_.state == State::idle) announce();
                                   })),
      replayErrors_(replay_.errorMessage.observe([this, &executor](const std::optional<std::string>& coming) {
          if (!coming) return;
          if (events_.failed) events_.failed(*coming);
          executor.post([weak = std::weak_ptr(self_)] {
              if (const auto self = weak.lock()) (*self)->announce();
          });
      })) {}

void RemoteControl::announce() const {
    if (events_.changed) events_.changed(status());
}

void RemoteControl::perform(RemoteCommand command) {
    log(LogArea::recorder, "remote command: ", rawValue(command));
    switch (command) {
        case RemoteCommand::toggle:
            return recorder_.toggle();
        case RemoteCommand::stop:
            return recorder_.requestStop();
        case RemoteCommand::pause:
            return *recorder_.state == State::recording ? recorder_.togglePause() : void();
        case RemoteCommand::resume:
            return *recorder_.state == State::paused ? recorder_.togglePause() : void();
        case RemoteCommand::togglePause:
            return recorder_.togglePause();
        case RemoteCommand::saveReplay:
            return replay_.saveSoon();
        case RemoteCommand::recordReplay:
            return replay_.record();
        case RemoteCommand::quit:
            return quit_();
    }
}

RemoteStatus RemoteControl::status() const {
    return statusIn(*recorder_.state);
}

RemoteStatus RemoteControl::statusIn(State state) const {
    RemoteStatus status;
    status.state = rawValue(state);
    if (state == State::recording || state == State::paused) status.elapsed = recorder_.elapsedNow();
    if (const auto url = recorder_.outputURL()) status.file = url->string();
    status.error = *recorder_.errorMessage ? *recorder_.errorMessage : *replay_.errorMessage;
    status.lastRecording = lastSaved_;
    if (*replay_.isOn) status.replay = {replay_.contents().seconds, replay_.contents().bytes};
    return status;
}

/// Observers are called before the state changes; the recorder's other values are those of the coming state.
void RemoteControl::stateChanges(State coming) {
    if (events_.changed && coming != *recorder_.state) events_.changed(statusIn(coming));
    if (coming == State::recording && !std::exchange(hasStarted_, true) && events_.started) {
        if (const auto url = recorder_.outputURL()) events_.started(*url);
    }
    if (coming != State::idle) return;
    hasStarted_ = false;
    if (*recorder_.errorMessage && events_.failed) events_.failed(**recorder_.errorMessage);
}

}  // namespace lumicrate
