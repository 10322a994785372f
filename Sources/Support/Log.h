// SPDX-License-Identifier: GPL-3.0-or-later
// Log: timed lines that explain what the program found and decided, for bug reports. Off by default.
//
// The environment variable LUMICRATE_LOG switches areas on: a comma-separated list of area names, or "all".
//
//     $ LUMICRATE_LOG=capture,audio lumicrate record --screen
//        0.012 capture  extension MIT-SHM 1.2
//        0.015 capture  no compositing manager
//
// Log a line wherever the program makes a decision based on its environment (extensions, monitors, encoder
// settings, sound nodes), where a recording passes from one stage to the next, and at every fallback.
// Lines about capabilities contain nothing private (no window titles, no file names): `lumicrate diagnose`
// prints them for pasting into a report.
#pragma once

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <string>
#include <string_view>
#include <type_traits>

namespace lumicrate {

/// The parts of the program that can be logged separately. LUMICRATE_LOG uses the names below.
enum class LogArea : std::uint8_t {
    recorder,  ///< state changes of a recording
    capture,   ///< screens, windows, pixels, pacing
    input,     ///< hot keys and clicks
    audio,     ///< sound server, devices, streams
    encoder,   ///< video and sound encoders and their settings
    movie,     ///< movie files: writing, publishing, recovery, editing
    library,   ///< the recordings folder
    desktop,   ///< session bus, settings, files, notifications
    ui,        ///< windows, panels, tray
};

/// Whether this area is logged. Any thread; one relaxed atomic read.
bool isLogged(LogArea area) noexcept;

/// Receives complete lines without the newline, one call at a time, on the logging thread.
using LogSink = std::function<void(LogArea area, double secondsSinceStart, std::string_view text)>;

/// While it exists, all areas go to `sink` instead of LUMICRATE_LOG's areas to standard error. Main thread;
/// not nested.
class LogCapture {
 public:
    explicit LogCapture(LogSink sink);
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;
};

/// The area's name in LUMICRATE_LOG.
std::string_view logAreaName(LogArea area);

namespace detail {

void writeLogLine(LogArea area, std::initializer_list<std::string> parts);

/// Six significant digits, as "%g" prints them.
std::string logText(double value);

template <class Value>
std::string logText(const Value& value) {
    if constexpr (std::is_same_v<Value, bool>) {
        return value ? "yes" : "no";
    } else if constexpr (std::is_floating_point_v<Value>) {
        return logText(double{value});
    } else if constexpr (std::is_arithmetic_v<Value>) {
        return std::to_string(value);
    } else {
        return std::string(value);
    }
}

}  // namespace detail

/// Writes the concatenated parts as one line. Parts are texts, numbers or flags; they are converted to text
/// only if the area is logged. Any thread. Never throws.
///
///     log(LogArea::capture, "monitor ", name, ": ", width, " × ", height, " pixels");
template <class... Parts>
void log(LogArea area, const Parts&... parts) noexcept {
    if (!isLogged(area)) return;
    try {
        detail::writeLogLine(area, {detail::logText(parts)...});
    } catch (...) {
        // A failure to log must not end a recording.
    }
}

}  // namespace lumicrate
