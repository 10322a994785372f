// SPDX-License-Identifier: GPL-3.0-or-later
// AfterSave: runs the user's command with each recording that was saved.
#pragma once

#include "Platform/NSTask.h"
#include "Platform/NSUserDefaults.h"
#include "Support/Notifications.h"
#include "Support/Published.h"

#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace lumicrate {

namespace preference {
/// A program with arguments, which is run with each saved recording; without a registered fallback.
inline constexpr std::string_view afterSave = "afterSave";
}  // namespace preference

/// Divides a command into words as a shell does, by spaces outside of quotes: «mv "{}" ~/a\ b» has three.
/// Nothing is expanded. Throws LocalizedError if a quote is not closed.
std::vector<std::string> commandWords(std::string_view command);

/// The words of a command with the file in place of each "{}", or as the last word if there is none. Empty
/// for an empty command. Throws like commandWords.
std::vector<std::string> commandFor(std::string_view command, const std::filesystem::path& file);

/// Runs `command` with a file; an empty one does nothing. `failed` receives a sentence if it cannot be
/// started or ends with a status other than 0, and `ended` is called at the end in any case; it may be empty.
void runAfterSave(NSTaskLauncher& tasks, const std::string& command, const std::filesystem::path& file,
                  std::function<void(const std::string& sentence)> failed, std::function<void()> ended = {});

/// Runs the command in the preference "afterSave" with the application's recordings. Main thread.
class AfterSave {
 public:
    /// The references must outlive this object. `failed` may be called after its end.
    AfterSave(NotificationCenter& notifications, const NSUserDefaults& defaults, NSTaskLauncher& tasks,
              std::function<void(const std::string& sentence)> failed);

 private:
    Subscription saves_;
};

}  // namespace lumicrate
