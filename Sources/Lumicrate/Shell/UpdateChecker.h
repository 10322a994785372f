// SPDX-License-Identifier: GPL-3.0-or-later
// UpdateChecker: offers the download of a newer version of the program.
#pragma once

#include "Lumicrate/Shell/AppInfo.h"
#include "Platform/NSAlert.h"
#include "Platform/NSURLSession.h"
#include "Platform/NSUserDefaults.h"
#include "Platform/NSWorkspace.h"
#include "Support/Executor.h"
#include "Support/Task.h"

#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace lumicrate {

/// Downloads a small file from the web site and compares the version in it with the running one; nothing is
/// installed. Main thread only.
class UpdateChecker {
 public:
    /// The version file: {"version": "1.4.2", "download": "https://…"}.
    struct Feed {
        std::string version;                  ///< up to 64 printable ASCII characters, expected "1.4.2"
        std::optional<std::string> download;  ///< absent unless it is a valid https address

        bool operator==(const Feed&) const = default;
    };

    /// The references must outlive this object.
    struct Services {
        Executor& executor;
        NSUserDefaults& defaults;
        NSURLSession& session;
        NSWorkspace& workspace;
        NSAlertSheet showAlert;  ///< brings the application to the front
        std::function<void(const std::string& sentence)> complain;
        std::function<double()> secondsSince1970;
    };

    UpdateChecker(Services services, AppInfo info);
    UpdateChecker(const UpdateChecker&) = delete;
    UpdateChecker& operator=(const UpdateChecker&) = delete;

    /// The automatic check: at most one a day, and only if the preference "checkForUpdates" is on.
    void checkIfDue();
    /// Checks now. Shows an offer if there is a newer version; for the user, also that there is none or that
    /// the check failed. During a check, the running one counts as the user's. Ignored if this copy does not
    /// check for updates.
    void check(bool userInitiated);

    /// Whether version `a` is newer than `b`: their numbers between the dots are compared one after the
    /// other; a missing number is 0, and pieces that are not numbers are skipped. 1.10 is newer than 1.9, 2.0
    /// is not newer than 2, and 1.2beta.3 equals 1.3.
    static bool isNewer(std::string_view a, std::string_view b);
    /// Nothing if the text is not a version file.
    static std::optional<Feed> decode(std::string_view text);

 private:
    Task<void> runCheck();
    void offer(const Feed& feed);
    void show(const std::string& message, const std::string& text);
    void storeTime();

    Services services_;
    AppInfo info_;
    bool userWaits_ = false;
    RunningTask checking_;
};

}  // namespace lumicrate
