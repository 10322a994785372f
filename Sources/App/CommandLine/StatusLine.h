// StatusLine: the one line on a terminal that shows how long work goes.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace lumicrate::app {

/// What the line tells of a recording.
struct RecordingStatus {
    enum class Phase { countingDown, recording, paused, saving };

    Phase phase = Phase::recording;
    int countdown = 0;                     ///< seconds left, while counting down
    double elapsed = 0;                    ///< seconds
    std::uintmax_t bytes = 0;              ///< of the file so far
    std::optional<float> microphoneLevel;  ///< 0 … 1; nothing without a microphone
    std::optional<double> saved{};         ///< 0 … 1, while saving takes long
};

/// The line as text, without control characters: "● 00:12   3.4 MB   mic ▮▮▮▯▯▯▯▯".
std::string statusText(const RecordingStatus& status);

/// Draws and redraws the line on standard error; does nothing where that is no terminal.
class StatusLine {
 public:
    StatusLine();
    /// Takes the line away.
    ~StatusLine();
    StatusLine(const StatusLine&) = delete;
    StatusLine& operator=(const StatusLine&) = delete;

    /// Whether anybody sees it.
    bool isVisible() const { return terminal_; }
    void show(const std::string& text);
    void show(const RecordingStatus& status) { show(statusText(status)); }
    /// Takes the line away, so that other text can be written; the next show brings it back.
    void clear();

 private:
    bool terminal_;
    std::string shown_;
};

}  // namespace lumicrate::app
