// WelcomeWindow: greets a new user.
#pragma once

#include "Lumicrate/Shell/Welcome.h"

#include <QWidget>
#include <memory>

namespace lumicrate::views {

/// Once it is closed, in whatever way, it counts as shown.
class WelcomeWindow final : public QWidget {
 public:
    explicit WelcomeWindow(std::unique_ptr<Welcome> model);
    ~WelcomeWindow() override;

 protected:
    void closeEvent(QCloseEvent* event) override;

 private:
    std::unique_ptr<Welcome> model_;
};

}  // namespace lumicrate::views
