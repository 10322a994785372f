// SPDX-License-Identifier: GPL-3.0-or-later
// RecordingListModel: adapts RecordingRows to Qt's item views.
#pragma once

#include "Lumicrate/Library/Thumbnails.h"
#include "Lumicrate/MainWindow/RecordingRows.h"
#include "Support/Published.h"

#include <QAbstractListModel>
#include <vector>

namespace lumicrate::views {

/// The selection survives inserted and removed rows. A thumbnail is requested when its row is painted.
class RecordingListModel final : public QAbstractListModel {
 public:
    /// Both must outlive the model.
    RecordingListModel(RecordingRows& rows, Thumbnails& thumbnails, QObject* parent);

    const std::filesystem::path& url(const QModelIndex& index) const;
    /// Invalid when the recording is not listed.
    QModelIndex indexOf(const std::filesystem::path& url) const;

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    QMimeData* mimeData(const QModelIndexList& indexes) const override;
    QStringList mimeTypes() const override;
    Qt::DropActions supportedDragActions() const override { return Qt::CopyAction; }

 private:
    void update();
    void reorder(std::vector<std::filesystem::path> now);

    RecordingRows& rows_;
    Thumbnails& thumbnails_;
    std::vector<std::filesystem::path> urls_;  ///< in the order known to the views
    std::vector<Subscription> subscriptions_;
};

}  // namespace lumicrate::views
