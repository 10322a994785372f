// SingleWindow: at most one window of each kind.
#pragma once

#include <QPointer>
#include <QWidget>
#include <functional>
#include <map>
#include <memory>
#include <string>

namespace lumicrate::views {

/// Main thread only. Owns the windows, each until it is closed.
class SingleWindow {
 public:
    SingleWindow() = default;
    ~SingleWindow();
    SingleWindow(const SingleWindow&) = delete;
    SingleWindow& operator=(const SingleWindow&) = delete;

    /// Brings the window of this kind forward; where there is none, makes one and shows it.
    QWidget& show(const std::string& kind, const std::function<std::unique_ptr<QWidget>()>& make);

 private:
    std::map<std::string, QPointer<QWidget>> windows_;
};

}  // namespace lumicrate::views
