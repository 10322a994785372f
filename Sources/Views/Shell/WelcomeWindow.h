// SPDX-License-Identifier: GPL-3.0-or-later
// WelcomeWindow: introduces the program to a new user.
#pragma once

#include "Lumicrate/Shell/Welcome.h"

#include <QWidget>
#include <memory>

namespace lumicrate::views {

/// Counts as shown once it is closed in any way.
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
