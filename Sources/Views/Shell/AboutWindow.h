// AboutWindow: what this program is.
#pragma once

#include "Lumicrate/Shell/AppInfo.h"

#include <QWidget>
#include <functional>
#include <string>

namespace lumicrate::views {

class AboutWindow final : public QWidget {
 public:
    /// `folder` is the recordings folder as people write it; `openFolder` opens it and may throw
    /// PlatformError.
    AboutWindow(const AppInfo& info, const std::string& folder, std::function<void()> openFolder);

 private:
    QWidget* folderRow(const std::string& folder, std::function<void()> openFolder);
};

}  // namespace lumicrate::views
