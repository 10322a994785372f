// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Preview/PreviewWindows.h"

#include "Lumicrate/Recording/RecordingOptions.h"
#include "Support/Error.h"
#include "Support/LongWork.h"

#include <algorithm>
#include <utility>

namespace lumicrate {

namespace {

/// The room for the facts line and the tools below the picture.
constexpr double toolsHeight = 52;
constexpr double titleHeight = 28;

}  // namespace

PreviewWindows::PreviewWindows(PreviewModel::Services services, WindowFactory makeWindow)
    : services_(std::move(services)),
      makeWindow_(std::move(makeWindow)),
      queue_(services_.makeQueue("Lumicrate.preview.measure")) {}

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
    Entry& entry = windows_[key];
    entry.model = std::move(model);
    entry.window = std::move(window);
    entry.opening = RunningTask(services_.executor, open(entry));
}

Task<void> PreviewWindows::open(Entry& entry) {
    const std::function<std::optional<Size>()> measuring =
        [&assets = services_.assets, url = *entry.model->url] { return assets.summary(url).videoSize; };
    entry.model->load();
    try {
        Task<std::optional<Size>> measured =
            inBackground<std::optional<Size>>(services_.executor, *queue_, measuring);
        const std::optional<Size> size = co_await measured;
        fit(*entry.window, size);
    } catch (const LocalizedError&) {
        // The window says why the file cannot be shown, in the size that it has.
    }
    entry.window->center();
    entry.window->makeKeyAndOrderFront();
}

void PreviewWindows::close(NSWindow* window) {
    windows_.erase(window);
}

void PreviewWindows::follow(const ScreenRecorder& recorder) {
    following_.push_back(services_.notifications.observe(
        recordingSavedNotification, [this](const NotificationCenter::Object& url) {
            if (url && services_.defaults.boolForKey(preference::openPreview)) show(*url);
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
