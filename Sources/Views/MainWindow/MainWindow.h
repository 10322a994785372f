// MainWindow: the program's main window.
#pragma once

#include "Lumicrate/MainWindow/MainWindowModel.h"

#include <QWidget>

class QMenu;
class QVBoxLayout;

namespace lumicrate::views {

class RecordingList;

/// Remembers its size. Closing it hides it.
class MainWindow final : public QWidget {
 public:
    /// Must outlive it.
    explicit MainWindow(MainWindowModel& content);
    ~MainWindow() override;

    /// Shows the window in front of all others.
    void bringForward();

 protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void changeEvent(QEvent* event) override;

 private:
    void addRecordings(QVBoxLayout& column);
    QWidget* makeEmptyState();
    QWidget* makeHeader();
    void bindKeys();
    void tellVisibility();
    void restoreSize();
    void storeSize();

    MainWindowModel& content_;
};

}  // namespace lumicrate::views
