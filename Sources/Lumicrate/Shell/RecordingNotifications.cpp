// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Shell/RecordingNotifications.h"

#include "Lumicrate/Recording/RecordingOptions.h"
#include "Support/Text.h"

#include <string>
#include <utility>

namespace lumicrate {

using State = ScreenRecorder::State;

RecordingNotifications::RecordingNotifications(Services services)
    : services_(std::move(services)),
      stateChanges_(services_.recorder.state.observe([this](State state) { stateChanged(state); })),
      saves_(services_.notifications.observe(
          recordingSavedNotification, [this](const NotificationCenter::Object& url) { saved_ = url; })),
      self_(std::make_shared<RecordingNotifications*>(this)) {
    errors_ = services_.recorder.errorMessage.observe([this](const std::optional<std::string>& coming) {
        // Posted, because an error usually ends the recording at once.
        if (coming)
            services_.executor.post([weak = std::weak_ptr(self_)] {
                if (const auto self = weak.lock()) (*self)->reportError();
            });
    });
}

void RecordingNotifications::stateChanged(State state) {
    if (state == State::idle) return reportEnd();
    const bool begins = state == State::recording && !hasRun_;
    hasRun_ = hasRun_ || begins;
    if (!hasRun_) services_.center.removeAllDeliveredNotifications();
    if (begins && services_.recorder.hidesControlBar()) offerStop();
}

void RecordingNotifications::offerStop() {
    offersStop_ = true;
    services_.center.add({localized("The whole screen is being recorded"),
                          localized("The control bar is hidden, since it would be in the picture."),
                          {{localized("Stop"), [this] { services_.recorder.requestStop(); }}},
                          false,
                          true});
}

void RecordingNotifications::reportError() {
    const auto& error = *services_.recorder.errorMessage;
    if (!error || !services_.recorder.isActive() || services_.isMainWindowActive()) return;
    services_.center.add({localized("The recording continues"),
                          *error,
                          {{localized("Show"), services_.showMainWindow}},
                          true});
}

void RecordingNotifications::reportEnd() {
    const bool hasRun = std::exchange(hasRun_, false);
    if (std::exchange(offersStop_, false)) services_.center.removeAllDeliveredNotifications();
    const auto saved = std::exchange(saved_, std::nullopt);
    UNNotificationAction open{localized("Open"), {}};
    if (saved) open.chosen = [show = services_.open, url = *saved] { show(url); };

    if (const auto& error = *services_.recorder.errorMessage) {
        if (services_.isMainWindowActive()) return;
        UNNotificationRequest request{
            hasRun ? localized("The recording has ended") : localized("The recording couldn’t be started"),
            *error,
            {{localized("Show"), services_.showMainWindow}},
            true};
        if (saved) request.actions.push_back(open);
        services_.center.add(std::move(request));
    } else if (saved && services_.defaults.boolForKey(preference::notifyWhenSaved)) {
        services_.center.add(
            {localized("Recording saved"),
             saved->filename().string(),
             {open,
              {localized("Show in Folder"), [show = services_.showInFolder, url = *saved] { show(url); }}}});
    }
}

}  // namespace lumicrate
