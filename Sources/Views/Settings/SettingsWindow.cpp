#include "Views/Settings/SettingsWindow.h"

#include "Views/Settings/AudioPage.h"
#include "Views/Settings/GeneralPage.h"
#include "Views/Settings/ShortcutsPage.h"
#include "Views/Settings/SidebarDelegate.h"
#include "Views/Settings/VideoPage.h"
#include "Views/Shell/CloseKeys.h"
#include "Views/Widgets/QtText.h"
#include "Views/Widgets/Symbols.h"
#include "Views/Widgets/Theme.h"

#include <QEvent>
#include <QHBoxLayout>
#include <QListWidget>
#include <QScreen>
#include <QStackedWidget>
#include <QVBoxLayout>

namespace lumicrate::views {

namespace {

SettingsPage* makePage(SettingsModel::Page page, SettingsModel& model) {
    switch (page) {
        case SettingsModel::Page::general:
            return new GeneralPage(model);
        case SettingsModel::Page::video:
            return new VideoPage(model);
        case SettingsModel::Page::audio:
            return new AudioPage(model);
        case SettingsModel::Page::shortcuts:
            break;
    }
    return new ShortcutsPage(model);
}

}  // namespace

SettingsWindow::SettingsWindow(std::unique_ptr<SettingsModel> model)
    : model_(std::move(model)),
      content_(std::make_unique<QWidget>()),
      sidebar_(new QListWidget),
      pages_(new QStackedWidget) {
    setWindowTitle(localizedText("Lumicrate Settings"));
    setWindowIcon(applicationIcon());
    addCloseKeys(*this);
    makePages();
    makeSidebar();

    auto* columns = new QHBoxLayout(content_.get());
    columns->setContentsMargins(measure::gap, 0, 0, 0);
    columns->setSpacing(0);
    auto* side = new QVBoxLayout;
    side->setContentsMargins(0, measure::margin, 0, measure::margin);
    side->addWidget(sidebar_);
    columns->addLayout(side);
    columns->addWidget(pages_, 1);
    auto* whole = new QHBoxLayout(this);
    whole->setContentsMargins(0, 0, 0, 0);
    whole->addWidget(content_.get());
    sidebar_->setFocus();
    // On a small screen the pages scroll.
    resize(sizeHint().boundedTo(screen()->availableSize() * 0.9));
}

SettingsWindow::~SettingsWindow() = default;

void SettingsWindow::makeSidebar() {
    sidebar_->setAccessibleName(localizedText("Pages of the settings"));
    sidebar_->setItemDelegate(new SidebarDelegate(sidebar_));
    sidebar_->setFrameShape(QFrame::NoFrame);
    sidebar_->setMouseTracking(true);
    sidebar_->viewport()->setAutoFillBackground(false);
    sidebar_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    for (const SettingsModel::Page page : SettingsModel::pages)
        new QListWidgetItem(symbol(SettingsModel::symbolName(page)), qtText(SettingsModel::title(page)),
                            sidebar_);
    connect(sidebar_, &QListWidget::currentRowChanged, pages_, &QStackedWidget::setCurrentIndex);
    sidebar_->setFixedWidth(sidebar_->sizeHintForColumn(0) + 2 * measure::gap);
    sidebar_->setCurrentRow(0);
}

void SettingsWindow::makePages() {
    for (const SettingsModel::Page page : SettingsModel::pages)
        pages_->addWidget(makePage(page, *model_));
}

void SettingsWindow::showPage(SettingsModel::Page page) {
    sidebar_->setCurrentRow(static_cast<int>(page));
}

void SettingsWindow::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (event->type() == QEvent::ActivationChange && isActiveWindow()) model_->loginItem.refresh();
}

}  // namespace lumicrate::views
