// SPDX-License-Identifier: GPL-3.0-or-later
// RecordArguments: what a "record" command line asks for.
#pragma once

#include "App/CommandLine/OptionParser.h"
#include "Lumicrate/Movie/SoundFinishing.h"
#include "Lumicrate/Recording/RecordingOptions.h"
#include "Platform/AVCaptureDevice.h"
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

struct RecordArguments {
    enum class Mode { screen, window, area, webcam, audio };

    Mode mode = Mode::screen;
    ScreenName screen;                  ///< the main display when absent
    std::uint32_t window = 0;           ///< 0: chosen in the desktop's dialog
    Rect area;                          ///< points, y down from the top left of the desktop
    std::optional<std::string> camera;  ///< by identifier or name; the one in the options when absent
    /// The webcam is only enabled if the command line says so.
    RecordingOptions options;
    std::optional<double> duration;  ///< seconds
    std::optional<std::filesystem::path> output;
    SoundChoices sound;
    std::optional<std::string> portalToken;
    std::optional<std::string> afterSave;  ///< as stored when absent
    bool metersMicrophone = true;          ///< whether the recorder measures its level
    /// Requested on the command line, not just stored: recording fails without it.
    bool systemAudioRequired = false;
    bool microphoneRequired = false;
};

/// The options of "record", for the parser and its help.
std::span<const OptionSpec> recordOptionSpecs();

/// Combines the command line with the stored preferences. `storedMode` applies when the command line names no
/// source: audio is recorded as such, every other mode as the whole screen, since windows and areas would
/// have to be chosen first, and cameras are not switched on unasked. Throws UsageError.
RecordArguments readRecordArguments(const ParsedOptions& parsed, const RecordingOptions& stored,
                                    std::optional<CaptureMode> storedMode);

/// The display with that number or name, or the main one. Throws LocalizedError when there is none.
SCDisplay findDisplay(const std::vector<SCDisplay>& displays, const ScreenName& name,
                      std::uint32_t mainDisplayID);

/// The id of the camera with that id or name. Throws LocalizedError when there is none.
std::string findCamera(const std::vector<CaptureDevice>& cameras, const std::string& name);

/// Throws LocalizedError when no window has that number.
void requireWindow(const std::vector<SCWindow>& windows, std::uint32_t windowID);

/// An area of the desktop on its display.
struct PlacedArea {
    std::uint32_t displayID = 0;
    Rect area;  ///< points, y down from the top left of that display, within it
};

/// Existing files are never overwritten. Throws LocalizedError for one, and for a folder that does not exist.
void checkOutput(const std::filesystem::path& output);

/// Clips an area to the display that shows most of it. Throws LocalizedError when it lies on none.
PlacedArea placeArea(const std::vector<SCDisplay>& displays, const Rect& area);

/// Clips covers to a display, and makes them relative to it.
void placeCovers(const std::vector<SCDisplay>& displays, std::uint32_t displayID, std::vector<Rect>& covers);

}  // namespace lumicrate::app
