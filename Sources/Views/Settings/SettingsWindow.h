// SPDX-License-Identifier: GPL-3.0-or-later
// SettingsWindow: the preferences, in pages.
#pragma once

#include "Lumicrate/Settings/SettingsModel.h"

#include <QWidget>
#include <memory>

class QListWidget;
class QStackedWidget;

namespace lumicrate::views {

class SettingsWindow final : public QWidget {
 public:
    explicit SettingsWindow(std::unique_ptr<SettingsModel> model);
    ~SettingsWindow() override;

    void showPage(SettingsModel::Page page);

 protected:
    void changeEvent(QEvent* event) override;

 private:
    void makeSidebar();

    // Declared before the widgets that show it, so that it is destroyed after them.
    std::unique_ptr<SettingsModel> model_;
    std::unique_ptr<QWidget> content_;
    QListWidget* sidebar_;
    QStackedWidget* pages_;
};

}  // namespace lumicrate::views
