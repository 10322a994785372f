// SPDX-License-Identifier: GPL-3.0-or-later
// The applications whose windows are never recorded: the user's list of their classes, and which windows it
// means.
#pragma once

#include "Platform/ScreenCaptureKit.h"

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace lumicrate {

/// The classes in a text such as "KeePassXC, Signal", without blanks around them, empty ones and repetitions.
std::vector<std::string> readClasses(std::string_view text);
/// The reverse: "KeePassXC, Signal".
std::string joinedClasses(const std::vector<std::string>& classes);

/// Whether a class is in the list; the case of ASCII letters does not matter.
bool isListed(std::string_view windowClass, const std::vector<std::string>& classes);

/// Whether a window must not be recorded. A main window is judged by its own class. Pop-ups, dialogs and
/// windows without a class belong to their program: they are left out if it has a window of a listed class.
/// A window without a class is also left out while no window of its program has one, since it may still set a
/// listed class. `others` are the applications' windows; they may include `window`. Any thread.
bool isNeverRecorded(const SCWindowFacts& window, std::span<const SCWindowFacts> others,
                     const std::vector<std::string>& classes);

/// The windows that can be offered to be recorded, or shown in small pictures: without those of listed
/// classes, and those without a class that belong to the process of one.
std::vector<SCWindow> withoutNeverRecorded(std::vector<SCWindow> windows,
                                           const std::vector<std::string>& classes);

}  // namespace lumicrate
