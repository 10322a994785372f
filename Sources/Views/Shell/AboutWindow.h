// SPDX-License-Identifier: GPL-3.0-or-later
// AboutWindow: shows name, version, licence and the recordings folder.
#pragma once

#include "Lumicrate/Shell/AppInfo.h"

#include <QWidget>
#include <functional>
#include <string>

namespace lumicrate::views {

class AboutWindow final : public QWidget {
 public:
    /// `folder` is the recordings folder for display ("~/Videos/Lumicrate"); `openFolder` opens it and may
    /// throw PlatformError, whose text is then shown.
    AboutWindow(const AppInfo& info, const std::string& folder, std::function<void()> openFolder);

 private:
    QWidget* folderRow(const std::string& folder, std::function<void()> openFolder);
};

}  // namespace lumicrate::views
