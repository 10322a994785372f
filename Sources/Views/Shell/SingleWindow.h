// SPDX-License-Identifier: GPL-3.0-or-later
// SingleWindow: keeps at most one window of each kind open.
#pragma once

#include <QPointer>
#include <QWidget>
#include <functional>
#include <map>
#include <memory>
#include <string>

namespace lumicrate::views {

/// Shows a window above all others.
void bringForward(QWidget& window);

/// Owns each window until it is closed. Main thread.
class SingleWindow {
 public:
    SingleWindow() = default;
    ~SingleWindow();
    SingleWindow(const SingleWindow&) = delete;
    SingleWindow& operator=(const SingleWindow&) = delete;

    /// Brings the window of this kind forward. When there is none, creates one with `make` and shows it.
    QWidget& show(const std::string& kind, const std::function<std::unique_ptr<QWidget>()>& make);

 private:
    std::map<std::string, QPointer<QWidget>> windows_;
};

}  // namespace lumicrate::views
