// SPDX-License-Identifier: GPL-3.0-or-later
// MainWindow: what to record, the record button, and the list of recordings.
#pragma once

#include "Lumicrate/MainWindow/MainWindowModel.h"

#include <QWidget>

class QVBoxLayout;

namespace lumicrate::views {

/// Remembers its size. Closing it hides it.
class MainWindow final : public QWidget {
 public:
    /// `content` must outlive the window.
    explicit MainWindow(MainWindowModel& content);
    ~MainWindow() override;

 protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void changeEvent(QEvent* event) override;

 private:
    void addRecordings(QVBoxLayout& column);
    QWidget* makeEmptyState();
    QWidget* makeHeader();
    void bindKeys();
    void updateVisibility();
    void restoreSize();
    void storeSize();

    MainWindowModel& content_;
};

}  // namespace lumicrate::views
