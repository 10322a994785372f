// SPDX-License-Identifier: GPL-3.0-or-later
// WindowPickerPopup: the list of windows to choose from, with thumbnails.
#pragma once

#include "Lumicrate/MainWindow/SourceBar.h"
#include "Lumicrate/MainWindow/WindowPicker.h"
#include "Support/Published.h"

#include <QFrame>
#include <optional>

class QLabel;
class QListWidget;

namespace lumicrate::views {

class WindowPickerPopup final : public QFrame {
 public:
    /// Both must outlive the popup.
    WindowPickerPopup(SourceBar& sources, WindowPicker& picker, QWidget* parent);
    ~WindowPickerPopup() override;

    /// Opens below `anchor` with its width, or above it when there is more room.
    void openBelow(const QWidget& anchor);

 protected:
    void hideEvent(QHideEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

 private:
    void fill(const SourceBar::Content& content);
    void showPicture(std::uint32_t windowID);
    void choose(int row);

    SourceBar& sources_;
    WindowPicker& picker_;
    QListWidget* list_;
    QLabel* empty_;
    std::optional<Subscription> content_;
    std::optional<Subscription> pictures_;
};

}  // namespace lumicrate::views
