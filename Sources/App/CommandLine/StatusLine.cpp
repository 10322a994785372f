// SPDX-License-Identifier: GPL-3.0-or-later
#include "App/CommandLine/StatusLine.h"

#include "Support/Text.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>

namespace lumicrate::app {

namespace {

std::string meter(float level) {
    constexpr int bars = 8;
    const int lit = static_cast<int>(std::lround(level * bars));
    std::string text;
    for (int i = 0; i < bars; ++i)
        text += i < lit ? "▮" : "▯";
    return text;
}

}  // namespace

std::string statusText(const RecordingStatus& status) {
    switch (status.phase) {
        case RecordingStatus::Phase::countingDown:
            return localized("Recording starts in {}…", {std::to_string(status.countdown)});
        case RecordingStatus::Phase::saving:
            return localized("Saving…") +
                   (status.saved
                        ? " " + localized("{} %", {std::to_string(static_cast<int>(*status.saved * 100))})
                        : "");
        case RecordingStatus::Phase::paused:
        case RecordingStatus::Phase::recording:
            break;
    }
    const bool paused = status.phase == RecordingStatus::Phase::paused;
    std::string text = fmt::format("{} {}   {}", paused ? "❚❚" : "●", formatElapsed(status.elapsed),
                                   formatByteCount(status.bytes));
    if (status.microphoneLevel) {
        text += fmt::format("   {} {}", localized("mic"), meter(paused ? 0 : *status.microphoneLevel));
    }
    if (paused) text += "   " + localized("paused");
    return text;
}

StatusLine::StatusLine() : terminal_(isatty(STDERR_FILENO) == 1) {}

StatusLine::~StatusLine() {
    clear();
}

void StatusLine::show(const std::string& text) {
    if (!terminal_ || text == shown_) return;
    fmt::print(stderr, "\r\033[K{}", text);
    std::fflush(stderr);
    shown_ = text;
}

void StatusLine::clear() {
    if (shown_.empty()) return;
    fmt::print(stderr, "\r\033[K");
    std::fflush(stderr);
    shown_.clear();
}

}  // namespace lumicrate::app
