// SPDX-License-Identifier: GPL-3.0-or-later
// StatusLine: the line on a terminal that shows the progress of long work.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace lumicrate::app {

/// What the line shows of a recording.
struct RecordingStatus {
    enum class Phase { countingDown, recording, paused, saving };

    Phase phase = Phase::recording;
    int countdown = 0;                     ///< seconds left, while counting down
    double elapsed = 0;                    ///< seconds
    std::uintmax_t bytes = 0;              ///< of the file so far
    std::optional<float> microphoneLevel;  ///< 0 … 1; absent without a microphone
    std::optional<double> saved{};         ///< 0 … 1, when saving takes long
};

/// The line as text, without control characters: "● 00:12   3.4 MB   mic ▮▮▮▯▯▯▯▯".
std::string statusText(const RecordingStatus& status);

/// Draws the line on standard error. Does nothing when that is not a terminal.
class StatusLine {
 public:
    StatusLine();
    /// Removes the line.
    ~StatusLine();
    StatusLine(const StatusLine&) = delete;
    StatusLine& operator=(const StatusLine&) = delete;

    /// Whether standard error is a terminal.
    bool isVisible() const { return terminal_; }
    void show(const std::string& text);
    void show(const RecordingStatus& status) { show(statusText(status)); }
    /// Removes the line, so that other text can be written; the next show() draws it again.
    void clear();

 private:
    bool terminal_;
    std::string shown_;
};

}  // namespace lumicrate::app
