// RecordingListModel: the recordings as Qt's views read them.
#pragma once

#include "Lumicrate/Library/Thumbnails.h"
#include "Lumicrate/MainWindow/RecordingRows.h"
#include "Support/Published.h"

#include <QAbstractListModel>
#include <vector>

namespace lumicrate::views {

/// What is selected stays selected while rows come and go. A picture is asked for when its row is painted.
class RecordingListModel final : public QAbstractListModel {
 public:
    /// Both must outlive it.
    RecordingListModel(RecordingRows& rows, Thumbnails& thumbnails, QObject* parent);

    const std::filesystem::path& url(const QModelIndex& index) const;
    /// Invalid where it is not listed.
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
    std::vector<std::filesystem::path> urls_;  ///< as the views know them
    std::vector<Subscription> subscriptions_;
};

}  // namespace lumicrate::views
