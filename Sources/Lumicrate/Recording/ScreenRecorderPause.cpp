// SPDX-License-Identifier: GPL-3.0-or-later
// Pauses, and what is covered during them.
#include "Lumicrate/Overlays/Selection/AreaSelector.h"
#include "Lumicrate/Recording/ScreenRecorder.h"

#include <utility>

namespace lumicrate {

void ScreenRecorder::togglePause() {
    if (*state == State::recording) {
        pause();
    } else if (*state == State::paused && covering_.isRunning()) {
        resumesAfterCovering_ = true;
        services_.overlays.areaSelector->cancel();
    } else if (*state == State::paused) {
        resume();
    }
}

void ScreenRecorder::pause() {
    recording_->pause();
    elapsed = elapsedNow();
    state = State::paused;
}

void ScreenRecorder::resume() {
    recording_->resume();
    state = State::recording;
}

bool ScreenRecorder::offersCovers() const {
    return recordsScreen() && services_.overlays.areaSelector && services_.capture.canExcludeWindows() &&
           *source && (*source)->displayID();
}

void ScreenRecorder::drawCovers() {
    const bool can = *state == State::paused && offersCovers() && !covering_.isRunning();
    if (can) covering_ = RunningTask(services_.executor, askForCovers());
}

Task<void> ScreenRecorder::askForCovers() {
    resumesAfterCovering_ = false;
    const RecordingOptions& recorded = recording_->options();
    const RecordingChrome::Place shown = place(recorded);
    if (!shown.screen) co_return;
    const Rect whole{0, 0, shown.screen->frame.width, shown.screen->frame.height};
    Task<void> drawing = services_.overlays.areaSelector->drawCovers(
        *shown.screen, shown.part.value_or(whole), recorded.covers, [this](std::vector<Rect> covers) {
            if (*state == State::paused) recording_->setCovers(std::move(covers));
        });
    co_await drawing;
    if (!resumesAfterCovering_) co_return;
    // Until the drawing has disappeared from the screen.
    co_await sleepFor(services_.executor, settlingTime);
    if (*state == State::paused) resume();
}

}  // namespace lumicrate
