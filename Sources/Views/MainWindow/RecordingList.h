// SPDX-License-Identifier: GPL-3.0-or-later
// RecordingList: the list of recordings in the main window: open, rename, copy, drag out, move to the Trash.
#pragma once

#include "Lumicrate/Library/Thumbnails.h"
#include "Lumicrate/MainWindow/RecordingRows.h"

#include <QListView>
#include <functional>

class QMenu;

namespace lumicrate::views {

class RecordingListModel;

class RecordingList final : public QListView {
 public:
    /// Both must outlive the list.
    RecordingList(RecordingRows& rows, Thumbnails& thumbnails, QWidget* parent = nullptr);

    /// `changed` is called whenever the number of rows may have changed.
    void setOnCountChange(std::function<void()> changed);
    bool isEmpty() const;

    /// Opens the menu of the selected recordings.
    void openMenu(QPoint globalPosition);

 protected:
    void keyPressEvent(QKeyEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    void startDrag(Qt::DropActions actions) override;
    QSize sizeHint() const override;

 private:
    RecordingRows::Urls selected() const;
    void copySelected() const;
    void trashSelected();
    void rename(const std::filesystem::path& url, const QString& typed);

    RecordingRows& rows_;
    RecordingListModel* model_;
    QMenu* menu_;
};

}  // namespace lumicrate::views
