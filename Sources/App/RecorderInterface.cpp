// SPDX-License-Identifier: GPL-3.0-or-later
#include "App/RecorderInterface.h"

#include <QString>
#include <cctype>
#include <utility>

namespace lumicrate::app {

namespace {

QString text(const std::optional<std::string>& value) {
    return QString::fromStdString(value.value_or(""));
}

std::optional<std::string> optionalText(const QVariant& value) {
    const std::string text = value.toString().toStdString();
    return text.empty() ? std::nullopt : std::optional(text);
}

QVariantMap announced(const RemoteStatus& status) {
    const RemoteStatus::Replay replay = status.replay.value_or(RemoteStatus::Replay{});
    return {{QStringLiteral("State"), QString::fromStdString(status.state)},
            {QStringLiteral("Elapsed"), status.elapsed},
            {QStringLiteral("File"), text(status.file)},
            {QStringLiteral("Error"), text(status.error)},
            {QStringLiteral("LastRecording"), text(status.lastRecording)},
            {QStringLiteral("ReplaySeconds"), replay.seconds},
            {QStringLiteral("ReplayBytes"), QVariant::fromValue<qulonglong>(replay.bytes)}};
}

std::string description(RemoteCommand command) {
    switch (command) {
        case RemoteCommand::toggle:
            return "Does what the record button does: starts a recording of the mode in the preferences, "
                   "cancels its countdown, or stops it.";
        case RemoteCommand::stop:
            return "Stops the recording and saves it, or cancels one that has not begun. No effect when "
                   "idle.";
        case RemoteCommand::pause:
            return "Pauses the recording. No effect unless the state is recording.";
        case RemoteCommand::resume:
            return "Resumes the recording. No effect unless the state is paused.";
        case RemoteCommand::togglePause:
            return "Pauses the recording, or resumes it.";
        case RemoteCommand::saveReplay:
            return "Saves the last seconds as a recording. Returns at once; RecordingSaved or "
                   "RecordingFailed follows. Fails when none are being kept.";
        case RemoteCommand::recordReplay:
            return "Begins a recording of the main display that includes the last seconds. Fails when none "
                   "are being kept.";
        case RemoteCommand::quit:
            return "Quits the application. A recording is stopped and saved first.";
    }
    return {};
}

std::vector<desktop::BusInterface::Method> methods(RemoteControl* control, RecordHandler record) {
    std::vector<desktop::BusInterface::Method> methods{
        {recordMethod,
         "Starts a recording. The mode is screen, window, area, webcam or audio, or empty for the one in the "
         "preferences. The options are those of the command “lumicrate record” without their dashes: “fps” "
         "and “output” with a text or number, “microphone” and “countdown” with true or false. What is "
         "recorded is chosen on the screen, unless an option screen, window or area names it. Options that "
         "are not given are taken from the preferences. Returns when the recording is being started; "
         "RecordingStarted or RecordingFailed follows, or neither if the user cancels it. Errors: "
         "InvalidArgs for a mode or an option that is not understood, Failed when the source does not exist "
         "or a recording is in progress.",
         {{"mode", "s"}, {"options", "a{sv}"}},
         [record = std::move(record)](const QVariantList& arguments) {
             record(arguments[0].toString().toStdString(), arguments[1].toMap());
         }}};
    for (const RemoteCommand command : allCases<RemoteCommand>()) {
        methods.push_back(
            {methodName(command), description(command), {}, [control, command](const QVariantList&) {
                 control->perform(command);
             }});
    }
    return methods;
}

desktop::BusInterface::Property property(RemoteControl* control, const char* name, const char* type,
                                         std::string description) {
    return {name, type, std::move(description),
            [control, key = QString::fromLatin1(name)] { return announced(control->status()).value(key); }};
}

/// `control` may be null for introspection only.
desktop::BusInterface makeInterface(RemoteControl* control, RecordHandler record) {
    desktop::BusInterface interface;
    interface.name = recorderInterfaceName();
    interface.description =
        "Controls the recorder of the running application, and says what it is doing. Paths that are not "
        "UTF-8 have the replacement character in them. A later version that is not compatible will have "
        "another number at the end of its name.";
    interface.methods = methods(control, std::move(record));
    interface.properties = {
        property(control, "State", "s",
                 "idle, selectingArea (the user is choosing what to record), countingDown, starting, "
                 "recording, paused or stopping (the file is being finished)."),
        property(control, "Elapsed", "d",
                 "The seconds recorded. PropertiesChanged has it at each change of the state; in the state "
                 "recording it goes on from there by itself."),
        property(control, "File", "s", "The file that is being written; empty if there is none."),
        property(control, "Error", "s",
                 "The last error, until the next recording starts; empty if there is none."),
        property(control, "LastRecording", "s",
                 "The file that was saved last since the application was started; empty if there is none."),
        property(
            control, "ReplaySeconds", "d",
            "How much is kept of what was shown last; 0 while nothing is kept. Changes are not announced."),
        property(control, "ReplayBytes", "t", "The memory that it takes."),
        {"Version", "s", "The version of the application.", [] { return QString(LUMICRATE_VERSION); },
         false}};
    interface.events = {
        {"RecordingStarted", "Recording has begun, into this file.", {{"path", "s"}}},
        {"RecordingSaved", "A recording is complete and saved under this path.", {{"path", "s"}}},
        {"RecordingFailed",
         "A recording could not be started, or it ended by itself, in which case it is saved nevertheless, "
         "if possible; or the last seconds could not be kept or saved.",
         {{"sentence", "s"}}}};
    return interface;
}

}  // namespace

std::string recorderInterfaceName() {
    return desktop::ownInterfaceName("Recorder");
}

std::string methodName(RemoteCommand command) {
    std::string name(rawValue(command));
    name.front() = static_cast<char>(std::toupper(static_cast<unsigned char>(name.front())));
    return name;
}

desktop::BusInterface recorderInterface(RemoteControl& control, RecordHandler record) {
    return makeInterface(&control, std::move(record));
}

void announceEvents(RemoteControl& control, const desktop::BusService& bus) {
    const auto send = [&bus](const char* event, const std::string& argument) {
        bus.send(recorderInterfaceName(), event, {QString::fromStdString(argument)});
    };
    control.setEvents(
        {[&bus](const RemoteStatus& status) { bus.announce(recorderInterfaceName(), announced(status)); },
         [send](const std::filesystem::path& url) { send("RecordingStarted", url.string()); },
         [send](const std::filesystem::path& url) { send("RecordingSaved", url.string()); },
         [send](const std::string& sentence) { send("RecordingFailed", sentence); }});
}

std::string recorderIntrospection() {
    return desktop::introspectionDocument(makeInterface(nullptr, {}));
}

std::optional<RemoteStatus> runningStatus() {
    const auto properties = desktop::runningInstanceProperties(recorderInterfaceName());
    return properties ? std::optional(statusIn(*properties)) : std::nullopt;
}

RemoteStatus statusIn(const QVariantMap& properties) {
    const RemoteStatus::Replay replay{properties.value(QStringLiteral("ReplaySeconds")).toDouble(),
                                      properties.value(QStringLiteral("ReplayBytes")).toULongLong()};
    return {properties.value(QStringLiteral("State")).toString().toStdString(),
            properties.value(QStringLiteral("Elapsed")).toDouble(),
            optionalText(properties.value(QStringLiteral("File"))),
            optionalText(properties.value(QStringLiteral("Error"))),
            optionalText(properties.value(QStringLiteral("LastRecording"))),
            replay.bytes > 0 ? std::optional(replay) : std::nullopt};
}

}  // namespace lumicrate::app
