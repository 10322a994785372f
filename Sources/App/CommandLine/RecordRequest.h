// RecordRequest: what a "record" command line asks for.
#pragma once

#include "App/CommandLine/OptionParser.h"
#include "Lumicrate/Recording/RecordingOptions.h"
#include "Platform/ScreenCaptureKit.h"
#include "Support/Geometry.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace lumicrate::app {

/// A display, by number or by name.
using ScreenName = std::optional<std::string>;

struct RecordRequest {
    enum class Mode { screen, window, area, audio };

    Mode mode = Mode::screen;
    ScreenName screen;  ///< the main display when absent
    std::uint32_t window = 0;
    Rect area;  ///< points, y down from the top left of the desktop
    RecordingOptions options;
    std::optional<double> duration;  ///< seconds
    std::optional<std::filesystem::path> output;
    std::optional<bool> mixesAudio;  ///< as stored when absent
    /// Asked for on the command line, not just stored: then recording without it is no way out.
    bool systemAudioRequired = false;
    bool microphoneRequired = false;
};

/// The options of "record", for the parser and its help.
std::span<const OptionSpec> recordOptionSpecs();

/// Reads a command line over the stored preferences. `storedMode` is the mode to record in when none is
/// given; one that cannot be recorded without choosing something first gives the whole screen. Throws
/// UsageError.
RecordRequest readRecordRequest(const ParsedOptions& parsed, const RecordingOptions& stored,
                                std::optional<CaptureMode> storedMode);

/// The display with that number or name, or the main one. Throws LocalizedError when there is none.
SCDisplay findDisplay(const std::vector<SCDisplay>& displays, const ScreenName& wanted,
                      std::uint32_t mainDisplayID);

/// Throws LocalizedError when no window has that number.
void requireWindow(const std::vector<SCWindow>& windows, std::uint32_t windowID);

/// Where an area of the desktop lies.
struct PlacedArea {
    std::uint32_t displayID = 0;
    Rect area;  ///< points, y down from the top left of that display, within it
};

/// Puts an area onto the display that shows most of it. Throws LocalizedError when it lies on none.
PlacedArea placeArea(const std::vector<SCDisplay>& displays, const Rect& area);

}  // namespace lumicrate::app
