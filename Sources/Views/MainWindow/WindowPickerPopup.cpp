// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/MainWindow/WindowPickerPopup.h"

#include "Views/Widgets/PictureRowDelegate.h"
#include "Views/Widgets/Pictures.h"
#include "Views/Widgets/QtText.h"
#include "Views/Widgets/Theme.h"
#include "Views/Widgets/TintedLabel.h"

#include <QKeyEvent>
#include <QListWidget>
#include <QScreen>
#include <QVBoxLayout>
#include <algorithm>

namespace lumicrate::views {

namespace {

constexpr int windowIdRole = PictureRowDelegate::firstFreeRole;
constexpr int maxVisibleRows = 5;

QString name(const SourceBar::Window& window) {
    return qtText(window.application.empty() ? window.title : window.application);
}

}  // namespace

WindowPickerPopup::WindowPickerPopup(SourceBar& sources, WindowPicker& picker, QWidget* parent)
    : QFrame(parent, Qt::Popup), sources_(sources), picker_(picker), list_(new QListWidget(this)) {
    setFrameShape(QFrame::StyledPanel);
    setBackgroundRole(QPalette::Base);
    setAutoFillBackground(true);
    setAccessibleName(localizedText("Windows"));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(4, 4, 4, 4);
    list_->setFrameShape(QFrame::NoFrame);
    list_->viewport()->setAutoFillBackground(false);
    list_->setItemDelegate(new PictureRowDelegate(list_));
    list_->setUniformItemSizes(true);
    list_->setMouseTracking(true);
    list_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    list_->setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    list_->setAccessibleName(localizedText("Windows"));
    layout->addWidget(list_);
    empty_ = new TintedLabel(&ThemeColors::secondary, this);
    empty_->setText(localizedText("There is no window to record."));
    empty_->setAlignment(Qt::AlignCenter);
    empty_->setMargin(measure::margin);
    layout->addWidget(empty_);
    for (const auto signal : {&QListWidget::itemClicked, &QListWidget::itemActivated})
        connect(list_, signal, this, [this](QListWidgetItem* item) { choose(list_->row(item)); });
}

WindowPickerPopup::~WindowPickerPopup() {
    picker_.close();
}

void WindowPickerPopup::openBelow(const QWidget& anchor) {
    content_ = sources_.content.observe([this](const SourceBar::Content& coming) { fill(coming); });
    pictures_ = picker_.observe([this](std::uint32_t windowID) { showPicture(windowID); });
    list_->clear();
    fill(*sources_.content);
    const int frame = 2 * frameWidth() + layout()->contentsMargins().top() * 2;
    const int rows = std::clamp(list_->count(), 1, maxVisibleRows);
    const int rowHeight = list_->count() > 0 ? list_->sizeHintForRow(0) : 4 * measure::margin;
    const QRect free = anchor.screen()->availableGeometry();
    const QPoint below = anchor.mapToGlobal(QPoint(0, anchor.height() + 4));
    const QPoint above = anchor.mapToGlobal(QPoint(0, -4));
    const int neededHeight = rows * rowHeight + frame;
    const int roomBelow = free.bottom() + 1 - below.y();
    const int roomAbove = above.y() - free.top();
    const bool goesBelow = neededHeight <= roomBelow || roomBelow >= roomAbove;
    const int height = std::min(neededHeight, goesBelow ? roomBelow : roomAbove);
    setGeometry(below.x(), goesBelow ? below.y() : above.y() - height, anchor.width(), height);
    QFrame::show();
    list_->setFocus(Qt::PopupFocusReason);
    picker_.open();
}

/// Reuses the rows of windows that are still there, so that pictures, scroll position and the current row
/// stay.
void WindowPickerPopup::fill(const SourceBar::Content& content) {
    const auto idOf = [this](int row) { return list_->item(row)->data(windowIdRole).toUInt(); };
    const auto& windows = content.windows;
    for (int row = list_->count() - 1; row >= 0; --row) {
        const bool stays =
            std::any_of(windows.begin(), windows.end(),
                        [&](const SourceBar::Window& candidate) { return candidate.id == idOf(row); });
        if (!stays) delete list_->takeItem(row);
    }
    for (int row = 0; row < static_cast<int>(windows.size()); ++row) {
        const SourceBar::Window& window = windows[static_cast<std::size_t>(row)];
        if (row >= list_->count() || idOf(row) != window.id) list_->insertItem(row, new QListWidgetItem);
        QListWidgetItem* item = list_->item(row);
        item->setData(windowIdRole, window.id);
        item->setText(name(window));
        item->setData(PictureRowDelegate::detail, qtText(window.title));
        item->setData(PictureRowDelegate::symbol, QStringLiteral("macwindow"));
        item->setData(Qt::AccessibleTextRole, name(window) + QStringLiteral(", ") + qtText(window.title));
        showPicture(window.id);
        if (content.window && content.window->id == window.id && list_->currentRow() < 0)
            list_->setCurrentRow(row);
    }
    // Reordered windows leave their old rows at the end.
    while (list_->count() > static_cast<int>(windows.size()))
        delete list_->takeItem(list_->count() - 1);
    if (list_->currentRow() < 0 && list_->count() > 0) list_->setCurrentRow(0);
    list_->setVisible(list_->count() > 0);
    empty_->setVisible(list_->count() == 0);
}

void WindowPickerPopup::showPicture(std::uint32_t windowID) {
    const CGImage* picture = picker_.picture(windowID);
    if (picture == nullptr) return;
    for (int row = 0; row < list_->count(); ++row) {
        QListWidgetItem* item = list_->item(row);
        // A copy, because the picker drops its pictures when it is closed.
        if (item->data(windowIdRole).toUInt() == windowID)
            item->setData(PictureRowDelegate::picture, sharedImage(*picture).copy());
    }
}

void WindowPickerPopup::choose(int row) {
    const std::uint32_t windowID = list_->item(row)->data(windowIdRole).toUInt();
    close();
    sources_.chooseWindow(windowID);
}

void WindowPickerPopup::hideEvent(QHideEvent* event) {
    content_.reset();
    pictures_.reset();
    picker_.close();
    QFrame::hideEvent(event);
}

void WindowPickerPopup::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape) {
        close();
    } else {
        QFrame::keyPressEvent(event);
    }
}

}  // namespace lumicrate::views
