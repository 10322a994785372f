// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Preview/PreviewWindows.h"

#include "Lumicrate/Recording/RecordingOptions.h"

#include <algorithm>
#include <utility>

namespace lumicrate {

namespace {

constexpr double titleHeight = 28;

}  // namespace

PreviewWindows::PreviewWindows(PreviewModel::Services services, WindowFactory makeWindow)
    : services_(std::move(services)), makeWindow_(std::move(makeWindow)) {}

void PreviewWindows::show(const std::filesystem::path& url) {
    for (auto& [window, entry] : windows_) {
        if (*entry.model->url == url) return window->makeKeyAndOrderFront();
    }
    auto model = std::make_unique<PreviewModel>(services_, url);
    auto window = makeWindow_(*model);
    NSWindow* key = window.get();
    // Later: the window is on the call stack when it reports that.
    const auto closed = [this, key] { services_.executor.post([this, key] { close(key); }); };
    window->setOnClose(closed);
    model->closeWindow = closed;
    window->setContentMinSize({520, 300});
    window->setContentSize({640, 400});
    model->onMeasured = [model = model.get(), key] {
        // A file that cannot be read has the error instead of a size, in the window as it is.
        if (!*model->errorMessage) fit(*key, *model->videoSize);
        key->center();
        key->makeKeyAndOrderFront();
    };
    PreviewModel& opened = *model;
    windows_[key] = {std::move(model), std::move(window)};
    opened.load();
}

void PreviewWindows::close(NSWindow* window) {
    windows_.erase(window);
}

void PreviewWindows::follow(const ScreenRecorder& recorder) {
    following_.push_back(services_.notifications.observe(
        recordingSavedNotification, [this, &recorder](const NotificationCenter::Object& url) {
            // Not for what was saved meanwhile by a shortcut: the user is doing something else.
            const bool isRecording = url && url == *recorder.lastRecording;
            if (isRecording && services_.defaults.boolForKey(preference::openPreview)) show(*url);
        }));
    following_.push_back(recorder.state.observe([this](ScreenRecorder::State coming) {
        if (coming == ScreenRecorder::State::starting) pauseAll();
    }));
}

void PreviewWindows::pauseAll() {
    for (auto& [window, entry] : windows_)
        entry.model->playerView.pause();
}

void PreviewWindows::fit(NSWindow& window, std::optional<Size> videoSize) {
    if (!videoSize) {
        window.setContentMinSize({520, 132});
        window.setContentSize({560, 132});
        return;
    }
    const Size visible = window.visibleFrameSize();
    const double maxWidth = 0.9 * visible.width;
    const double maxHeight = 0.9 * visible.height - toolsHeight - titleHeight;
    const double scale =
        std::min({1.0, maxWidth / videoSize->width, std::max(maxHeight, 1.0) / videoSize->height});
    window.setContentSize({std::max(videoSize->width * scale, 520.0),
                           std::max(videoSize->height * scale, 240.0) + toolsHeight});
}

}  // namespace lumicrate
