// SPDX-License-Identifier: GPL-3.0-or-later
// MessageWindows: the small windows with a message: AboutWindow, WelcomeWindow and PermissionWindow.
#pragma once

#include "Lumicrate/Shell/AppInfo.h"
#include "Lumicrate/Shell/Permissions.h"
#include "Lumicrate/Shell/Welcome.h"
#include "Support/Published.h"

#include <QWidget>
#include <functional>
#include <memory>
#include <string>
#include <vector>

class QVBoxLayout;

namespace lumicrate::views {

class Card;

/// Shows name, version, licence and the recordings folder, and copies a report for the reports of faults.
class AboutWindow final : public QWidget {
 public:
    /// `folder` is the recordings folder for display ("~/Videos/Lumicrate"); `openFolder` opens it, and
    /// `openWebPage` an address of `info`. Both may throw PlatformError, whose text is then shown.
    /// `diagnose` collects the report of "lumicrate diagnose" in the background and calls back with it, empty
    /// if it fails. The call back may come after the window is gone.
    using Diagnose = std::function<void(std::function<void(const std::string& report)>)>;
    AboutWindow(const AppInfo& info, const std::string& folder, std::function<void()> openFolder,
                const std::function<void(const std::string& address)>& openWebPage, Diagnose diagnose);
};

/// Introduces the program to a new user. Counts as shown once it is closed in any way.
class WelcomeWindow final : public QWidget {
 public:
    explicit WelcomeWindow(std::unique_ptr<Welcome> model);

 protected:
    void closeEvent(QCloseEvent* event) override;

 private:
    void showPoints(const std::vector<Welcome::Point>& points);

    std::unique_ptr<Welcome> model_;
    QVBoxLayout* place_;
    Card* card_ = nullptr;
    Subscription pointChanges_;
};

/// Lists what cannot be reached, with advice for each. Closes by itself once everything can be reached.
class PermissionWindow final : public QWidget {
 public:
    /// `model` must outlive the window.
    explicit PermissionWindow(Permissions& model);

 private:
    void showMissing(const std::vector<Permissions::Missing>& missing);

    QVBoxLayout* place_;
    QWidget* card_ = nullptr;
    Subscription missingChanges_;
    Subscription outcomeChanges_;
};

}  // namespace lumicrate::views
