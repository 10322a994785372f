// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/MainWindow/RecordingList.h"

#include "Views/MainWindow/RecordingDelegate.h"
#include "Views/MainWindow/RecordingListModel.h"
#include "Views/Widgets/Menus.h"
#include "Views/Widgets/QtText.h"

#include <QClipboard>
#include <QContextMenuEvent>
#include <QDrag>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QMenu>
#include <QMimeData>
#include <algorithm>

namespace lumicrate::views {

RecordingList::RecordingList(RecordingRows& rows, Thumbnails& thumbnails, QWidget* parent)
    : QListView(parent),
      rows_(rows),
      model_(new RecordingListModel(rows, thumbnails, this)),
      menu_(new QMenu(this)) {
    setModel(model_);
    RecordingDelegate::Handlers handlers;
    handlers.openMenu = [this](const QModelIndex&, QPoint position) { openMenu(position); };
    handlers.rename = [this](const QModelIndex& index, const QString& typed) {
        // Queued until the editor is closed, when the row may have moved.
        QMetaObject::invokeMethod(
            this, [this, url = model_->url(index), typed] { rename(url, typed); }, Qt::QueuedConnection);
    };
    setItemDelegate(new RecordingDelegate(std::move(handlers), this));
    setUniformItemSizes(true);
    setFrameShape(QFrame::NoFrame);
    viewport()->setAutoFillBackground(false);
    setSelectionMode(QAbstractItemView::ExtendedSelection);
    setEditTriggers(QAbstractItemView::EditKeyPressed);
    setDragEnabled(true);
    setMouseTracking(true);
    setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setAccessibleName(localizedText("Recordings"));
    // By Return and by a double click.
    connect(this, &QListView::activated, this, [this](const QModelIndex& index) {
        // A copy: the list may change meanwhile.
        rows_.open(std::filesystem::path(model_->url(index)));
    });
}

void RecordingList::setOnCountChange(std::function<void()> changed) {
    for (const auto signal : {&QAbstractItemModel::rowsInserted, &QAbstractItemModel::rowsRemoved})
        connect(model_, signal, this, [changed] { changed(); });
}

bool RecordingList::isEmpty() const {
    return model_->rowCount() == 0;
}

QSize RecordingList::sizeHint() const {
    return {320, 240};
}

RecordingRows::Urls RecordingList::selected() const {
    QModelIndexList indexes = selectionModel()->selectedRows();
    std::sort(indexes.begin(), indexes.end());
    RecordingRows::Urls urls;
    for (const QModelIndex& row : indexes)
        urls.push_back(model_->url(row));
    return urls;
}

void RecordingList::openMenu(QPoint globalPosition) {
    const RecordingRows::Urls urls = selected();
    if (urls.empty()) return;
    RecordingRows::InterfaceActions interface;
    interface.beginRename = [this, url = urls.front()] {
        if (const QModelIndex index = model_->indexOf(url); index.isValid()) edit(index);
    };
    interface.copy = [this] { copySelected(); };
    fillMenu(*menu_, rows_.menu(urls, interface));
    menu_->popup(globalPosition);
}

void RecordingList::contextMenuEvent(QContextMenuEvent* event) {
    QPoint position = event->globalPos();
    if (event->reason() == QContextMenuEvent::Keyboard && currentIndex().isValid())
        position = viewport()->mapToGlobal(visualRect(currentIndex()).center());
    openMenu(position);
}

void RecordingList::keyPressEvent(QKeyEvent* event) {
    if (event->matches(QKeySequence::Copy)) return copySelected();
    if (event->key() == Qt::Key_Delete && event->modifiers() == Qt::NoModifier) return trashSelected();
    QListView::keyPressEvent(event);
}

void RecordingList::copySelected() const {
    const QModelIndexList indexes = selectionModel()->selectedRows();
    if (!indexes.isEmpty()) QGuiApplication::clipboard()->setMimeData(model_->mimeData(indexes));
}

/// The following row becomes current, so that Delete can be pressed again.
void RecordingList::trashSelected() {
    const RecordingRows::Urls urls = selected();
    if (urls.empty()) return;
    rows_.moveToTrash(urls);
    if (currentIndex().isValid()) setCurrentIndex(currentIndex());
}

void RecordingList::rename(const std::filesystem::path& url, const QString& typed) {
    const auto destination = rows_.rename(url, typed.toStdString());
    if (!destination) return;
    if (const QModelIndex now = model_->indexOf(*destination); now.isValid()) setCurrentIndex(now);
}

void RecordingList::startDrag(Qt::DropActions actions) {
    const QModelIndexList indexes = selectionModel()->selectedRows();
    if (indexes.isEmpty()) return;
    // Qt deletes the drag when it is over.
    auto* drag = new QDrag(this);
    drag->setMimeData(model_->mimeData(indexes));
    const QImage picture = indexes.front().data(PictureRowDelegate::picture).value<QImage>();
    if (!picture.isNull()) drag->setPixmap(QPixmap::fromImage(picture.scaledToWidth(96)));
    drag->exec(actions, Qt::CopyAction);
}

}  // namespace lumicrate::views
