// SettingsWindow: all preferences, page by page.
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
    void makePages();

    // Before what shows it, and so after it when they go.
    std::unique_ptr<SettingsModel> model_;
    std::unique_ptr<QWidget> content_;
    QListWidget* sidebar_;
    QStackedWidget* pages_;
};

}  // namespace lumicrate::views
