// SPDX-License-Identifier: GPL-3.0-or-later
// DocumentWindow: a Qt window behind the platform's NSWindow.
#pragma once

#include "Platform/NSWindow.h"

#include <QWidget>
#include <functional>

class QScreen;

namespace lumicrate::views {

/// The base of windows that the core opens and sizes. Closing it hides it and reports that; its owner
/// destroys it. Main thread.
class DocumentWindow : public QWidget, public NSWindow {
 public:
    DocumentWindow();

    void setContentMinSize(Size size) override;
    void setContentSize(Size size) override;
    Size visibleFrameSize() const override;
    void center() override;
    void makeKeyAndOrderFront() override;
    void setOnClose(std::function<void()> closed) override { closed_ = std::move(closed); }

 protected:
    void closeEvent(QCloseEvent* event) override;
    /// Understood by the window managers of GNOME, Xfce, MATE and Cinnamon. Creates the window on the server.
    void requestDarkTitleBar();
    void reportClose() const {
        if (closed_) closed_();
    }

 private:
    const QScreen& targetScreen() const;

    std::function<void()> closed_;
};

}  // namespace lumicrate::views
