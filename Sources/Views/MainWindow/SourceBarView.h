// SPDX-License-Identifier: GPL-3.0-or-later
// SourceBarView: the choice of what to record, in the main window.
#pragma once

#include "Lumicrate/MainWindow/SourceBar.h"
#include "Lumicrate/MainWindow/WindowPicker.h"
#include "Support/Published.h"
#include "Views/Widgets/FlatButton.h"

#include <QWidget>
#include <utility>
#include <vector>

class QLabel;
class QMenu;
class QVBoxLayout;

namespace lumicrate::views {

class WindowPickerPopup;

class SourceBarView final : public QWidget {
 public:
    /// Both must outlive the view.
    SourceBarView(SourceBar& sources, WindowPicker& picker, QWidget* parent = nullptr);

 private:
    void addModes(QVBoxLayout& column);
    void addDetails(QVBoxLayout& column, WindowPicker& picker);
    void show(const SourceBar::Content& content);
    void openDisplays();
    void showDisplay(const SourceBar::Content& content);

    SourceBar& sources_;
    std::vector<std::pair<CaptureMode, FlatButton*>> modes_;
    FlatButton* window_;
    WindowPickerPopup* popup_;
    FlatButton* display_;
    QMenu* displayMenu_;
    QLabel* note_;
    Subscription subscription_;
};

}  // namespace lumicrate::views
