// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/MainWindow/MainWindow.h"

#include "Support/Error.h"
#include "Support/Geometry.h"
#include "Support/Log.h"
#include "Views/MainWindow/BannerStack.h"
#include "Views/MainWindow/RecorderControlsView.h"
#include "Views/MainWindow/RecordingList.h"
#include "Views/MainWindow/SourceBarView.h"
#include "Views/Widgets/FlatButton.h"
#include "Views/Widgets/Menus.h"
#include "Views/Widgets/QtText.h"
#include "Views/Widgets/Symbols.h"
#include "Views/Widgets/Theme.h"
#include "Views/Widgets/TintedLabel.h"

#include <QEvent>
#include <QHBoxLayout>
#include <QMenu>
#include <QScreen>
#include <QShortcut>
#include <QStackedLayout>
#include <QVBoxLayout>

namespace lumicrate::views {

namespace {

constexpr QSize defaultSize(460, 640);
constexpr std::string_view sizeKey = "mainWindowSize";

}  // namespace

MainWindow::MainWindow(MainWindowModel& content) : content_(content) {
    setWindowTitle(qtText(MainWindowModel::title()));
    setWindowIcon(applicationIcon());
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(measure::margin, measure::margin, measure::margin, measure::gap);
    column->setSpacing(measure::gap + 2);
    column->addWidget(new BannerStack(content.messages, this));
    column->addWidget(new SourceBarView(content.sources, content.windowPicker, this));
    const auto complain = [&content](const std::string& sentence) { content.messages.report(sentence); };
    column->addWidget(new RecorderControlsView(content.controls, content.defaults, complain, this));
    addRecordings(*column);
    bindKeys();
    restoreSize();
}

MainWindow::~MainWindow() {
    if (!isVisible()) return;
    content_.controls.setVisible(false);
    storeSize();
}

void MainWindow::addRecordings(QVBoxLayout& column) {
    column.addSpacing(measure::gap / 2);
    column.addWidget(makeHeader());
    auto* pages = new QStackedLayout;
    auto* list = new RecordingList(content_.recordings, content_.thumbnails, this);
    pages->addWidget(list);
    pages->addWidget(makeEmptyState());
    const auto choosePage = [list, pages] { pages->setCurrentIndex(list->isEmpty() ? 1 : 0); };
    list->setOnCountChange(choosePage);
    choosePage();
    column.addLayout(pages, 1);
}

QWidget* MainWindow::makeEmptyState() {
    auto* page = new QWidget(this);
    auto* column = new QVBoxLayout(page);
    column->addStretch(2);
    column->addWidget(new SymbolLabel("film", &ThemeColors::secondary, 44), 0, Qt::AlignHCenter);
    auto* title = new QLabel(localizedText("No recordings yet"), page);
    QFont bold = title->font();
    bold.setWeight(QFont::DemiBold);
    bold.setPointSizeF(bold.pointSizeF() * 1.15);
    title->setFont(bold);
    column->addWidget(title, 0, Qt::AlignHCenter);
    auto* how = new TintedLabel(&ThemeColors::secondary, page);
    how->setText(localizedText("Choose what to record, then press Start Recording."));
    how->setWordWrap(true);
    how->setAlignment(Qt::AlignCenter);
    column->addWidget(how);
    column->addStretch(3);
    return page;
}

QWidget* MainWindow::makeHeader() {
    auto* header = new QWidget(this);
    auto* row = new QHBoxLayout(header);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(2);
    auto* title = new QLabel(localizedText("Recordings"), header);
    QFont bold = title->font();
    bold.setWeight(QFont::DemiBold);
    title->setFont(bold);
    row->addWidget(title, 1);
    const auto add = [&](std::string_view symbolName, const std::string& name) {
        auto* button = new FlatButton(FlatButton::Role::plain, header);
        button->setSymbol(symbolName);
        button->setHelp(name);
        row->addWidget(button);
        return button;
    };
    const auto* folder = add("folder", localized("Open Recordings Folder"));
    connect(folder, &QPushButton::clicked, this, [this] { content_.commands.openFolder(); });
    const auto* settings = add("gearshape", localized("Settings"));
    connect(settings, &QPushButton::clicked, this, [this] { content_.commands.openSettings(); });
    auto* more = add("ellipsis", localized("More"));
    auto* menu = new QMenu(more);
    connect(more, &QPushButton::clicked, menu, [this, more, menu] {
        fillMenu(*menu, content_.menu());
        const QPoint corner = more->mapToGlobal(QPoint(more->width(), more->height() + 2));
        menu->popup(corner - QPoint(menu->sizeHint().width(), 0));
    });
    return header;
}

void MainWindow::bindKeys() {
    const auto bind = [this](const char* keys, std::function<void()> act) {
        auto* shortcut = new QShortcut(QKeySequence(QLatin1String(keys)), this);
        shortcut->setAutoRepeat(false);
        connect(shortcut, &QShortcut::activated, this, [act = std::move(act)] { act(); });
    };
    bind("Ctrl+R", [this] { content_.controls.press(); });
    bind("Ctrl+,", content_.commands.openSettings);
    bind("Ctrl+Q", content_.commands.quit);
}

void MainWindow::updateVisibility() {
    content_.controls.setVisible(isVisible() && !isMinimized());
}

void MainWindow::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    updateVisibility();
}

void MainWindow::hideEvent(QHideEvent* event) {
    QWidget::hideEvent(event);
    updateVisibility();
    storeSize();
}

void MainWindow::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (event->type() == QEvent::WindowStateChange) updateVisibility();
}

/// Bounded, because the screen may be smaller than the one the size was stored on.
void MainWindow::restoreSize() {
    QSize size = defaultSize;
    if (const auto stored = rectFromString(content_.defaults.stringForKey(sizeKey).value_or("")))
        size = QSizeF(stored->width, stored->height).toSize();
    const QSize available = screen()->availableSize();
    resize(size.boundedTo(available));
    log(LogArea::ui, "main window ", width(), " × ", height(), " of ", available.width(), " × ",
        available.height(), " points, ", devicePixelRatioF(), " pixels per point");
}

void MainWindow::storeSize() {
    if (isMaximized() || isFullScreen()) return;
    const std::string text = stringFromRect({0, 0, double(width()), double(height())});
    if (content_.defaults.stringForKey(sizeKey) == text) return;
    try {
        content_.defaults.set(sizeKey, text);
    } catch (const LocalizedError&) {
        // Only means that the window opens in another size next time.
    }
}

}  // namespace lumicrate::views
