// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Shell/RemoteControl.h"

#include "Support/Log.h"

#include <nlohmann/json.hpp>

#include <utility>

namespace lumicrate {

std::string toJSON(const RemoteStatus& status) {
    nlohmann::ordered_json json{{"state", status.state}, {"elapsed", status.elapsed}};
    if (status.file) json["file"] = *status.file;
    if (status.error) json["error"] = *status.error;
    // File names are not necessarily UTF-8.
    return json.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

std::optional<RemoteStatus> parseRemoteStatus(std::string_view text) {
    const nlohmann::json json = nlohmann::json::parse(text, nullptr, false);
    if (!json.is_object()) return std::nullopt;
    try {
        RemoteStatus status{json.at("state"), json.at("elapsed"), {}, {}};
        if (json.contains("file")) status.file = json["file"];
        if (json.contains("error")) status.error = json["error"];
        return status;
    } catch (const nlohmann::json::exception&) {
        return std::nullopt;
    }
}

RemoteControl::RemoteControl(ScreenRecorder& recorder, Actions actions)
    : recorder_(recorder), actions_(std::move(actions)) {}

void RemoteControl::perform(RemoteCommand command) {
    log(LogArea::recorder, "remote command: ", rawValue(command));
    switch (command) {
        case RemoteCommand::activate:
            return actions_.activate();
        case RemoteCommand::toggle:
            return recorder_.toggle();
        case RemoteCommand::pause:
            return recorder_.togglePause();
        case RemoteCommand::area:
            return recorder_.record(CaptureMode::area);
        case RemoteCommand::quit:
            return actions_.quit();
    }
}

RemoteStatus RemoteControl::status() const {
    RemoteStatus status;
    status.state = rawValue(*recorder_.state);
    if (recorder_.isActive()) status.elapsed = recorder_.elapsedNow();
    if (const auto url = recorder_.outputURL()) status.file = url->string();
    status.error = *recorder_.errorMessage;
    return status;
}

}  // namespace lumicrate
