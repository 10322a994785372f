#include "Lumicrate/ChosenSource.h"

#include <utility>

namespace lumicrate {

void ChosenSource::connect(ScreenRecorder& recorder, SourceBar& sources, std::function<void()> showMain) {
    recorder_ = &recorder;
    sources_ = &sources;
    showMain_ = std::move(showMain);
}

Task<std::optional<PickedArea>> ChosenSource::select(NSScreen, std::string, std::optional<Rect> initialArea,
                                                     std::vector<CaptureDevice>, bool windowsOnly) {
    if (!sources_) co_return std::nullopt;
    if (windowsOnly) {
        if (const auto& window = sources_->content->window) co_return PickedArea{{}, window->id};
        askInWindow(CaptureMode::window);
        co_return std::nullopt;
    }
    if (initialArea) co_return PickedArea{*initialArea, std::nullopt};
    askInWindow(CaptureMode::area);
    co_return std::nullopt;
}

Task<std::optional<std::uint32_t>> ChosenSource::choose() {
    if (!sources_) co_return std::nullopt;
    if (!sources_->content->display) askInWindow(CaptureMode::screen);
    co_return sources_->content->display;
}

void ChosenSource::show() {
    // The recorder asks in the middle of its own work, and takes no other before that is over.
    executor_.post([this] {
        if (recorder_) recorder_->recordAudioNow();
    });
}

/// The recorder is still choosing; the window lets nobody choose before it is at rest again.
void ChosenSource::askInWindow(CaptureMode mode) {
    executor_.post([this, mode] {
        sources_->setMode(mode);
        showMain_();
    });
}

}  // namespace lumicrate
