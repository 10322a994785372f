// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/MainWindow/RecordingListModel.h"

#include "Views/Widgets/PictureRowDelegate.h"
#include "Views/Widgets/Pictures.h"
#include "Views/Widgets/QtText.h"

#include <QFile>
#include <QMimeData>
#include <QUrl>
#include <algorithm>
#include <utility>

namespace lumicrate::views {

namespace {

QVariant accessibleText(const RecordingRows::Row& row) {
    QString text = qtText(row.name) + QStringLiteral(", ") + qtText(row.facts);
    if (row.isNew) text += QStringLiteral(", ") + localizedText("new");
    return text;
}

}  // namespace

RecordingListModel::RecordingListModel(RecordingRows& rows, Thumbnails& thumbnails, QObject* parent)
    : QAbstractListModel(parent), rows_(rows), thumbnails_(thumbnails), urls_(rows.urls()) {
    subscriptions_.push_back(rows.observe([this] { update(); }));
    subscriptions_.push_back(thumbnails.observe([this](const std::filesystem::path& url) {
        if (const QModelIndex changed = indexOf(url); changed.isValid())
            Q_EMIT dataChanged(changed, changed, {PictureRowDelegate::picture});
    }));
}

const std::filesystem::path& RecordingListModel::url(const QModelIndex& index) const {
    return urls_[static_cast<std::size_t>(index.row())];
}

QModelIndex RecordingListModel::indexOf(const std::filesystem::path& url) const {
    const auto found = std::find(urls_.begin(), urls_.end(), url);
    return found == urls_.end() ? QModelIndex() : index(static_cast<int>(found - urls_.begin()));
}

int RecordingListModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(urls_.size());
}

QVariant RecordingListModel::data(const QModelIndex& index, int role) const {
    const auto number = static_cast<std::size_t>(index.row());
    // While rows are being inserted or removed, the two lists differ.
    if (!index.isValid() || number >= rows_.count() || rows_.recording(number).url != urls_[number])
        return {};
    if (role == PictureRowDelegate::picture) {
        if (rows_.row(number).isSound) return {};
        const Thumbnails::Picture picture = thumbnails_.picture(rows_.recording(number));
        // Shared without a copy: painted at once, before the cache can drop it.
        return picture ? QVariant(sharedImage(*picture)) : QVariant();
    }
    const RecordingRows::Row row = rows_.row(number);
    switch (role) {
        case Qt::DisplayRole:
        case Qt::EditRole:
            return qtText(row.name);
        case Qt::AccessibleTextRole:
            return accessibleText(row);
        case PictureRowDelegate::detail:
            return qtText(row.facts);
        case PictureRowDelegate::symbol:
            return row.isSound ? QStringLiteral("waveform") : QStringLiteral("film");
        case PictureRowDelegate::marked:
            return row.isNew;
        default:
            return {};
    }
}

Qt::ItemFlags RecordingListModel::flags(const QModelIndex& index) const {
    if (!index.isValid()) return Qt::NoItemFlags;
    return Qt::ItemIsSelectable | Qt::ItemIsEnabled | Qt::ItemIsEditable | Qt::ItemIsDragEnabled |
           Qt::ItemNeverHasChildren;
}

QStringList RecordingListModel::mimeTypes() const {
    return {QStringLiteral("text/uri-list")};
}

QMimeData* RecordingListModel::mimeData(const QModelIndexList& indexes) const {
    QList<QUrl> urls;
    for (const QModelIndex& row : indexes)
        urls.push_back(QUrl::fromLocalFile(QFile::decodeName(url(row).c_str())));
    auto* data = new QMimeData;
    data->setUrls(urls);
    return data;
}

void RecordingListModel::update() {
    std::vector<std::filesystem::path> now = rows_.urls();
    const std::optional<RowChanges> changes = rowChanges(urls_, now);
    if (!changes) return reorder(std::move(now));
    const auto at = [this](std::size_t row) { return urls_.begin() + static_cast<std::ptrdiff_t>(row); };
    for (const RowChanges::Range& range : changes->removed) {
        const int first = static_cast<int>(range.first);
        beginRemoveRows({}, first, first + static_cast<int>(range.count) - 1);
        urls_.erase(at(range.first), at(range.first + range.count));
        endRemoveRows();
    }
    for (const RowChanges::Range& range : changes->inserted) {
        const int first = static_cast<int>(range.first);
        beginInsertRows({}, first, first + static_cast<int>(range.count) - 1);
        const auto from = now.begin() + static_cast<std::ptrdiff_t>(range.first);
        urls_.insert(at(range.first), from, from + static_cast<std::ptrdiff_t>(range.count));
        endInsertRows();
    }
    if (!urls_.empty()) Q_EMIT dataChanged(index(0), index(rowCount() - 1));
}

void RecordingListModel::reorder(std::vector<std::filesystem::path> now) {
    Q_EMIT layoutAboutToBeChanged();
    const QModelIndexList before = persistentIndexList();
    std::vector<std::filesystem::path> targets;
    for (const QModelIndex& row : before)
        targets.push_back(url(row));
    urls_ = std::move(now);
    QModelIndexList after;
    for (const std::filesystem::path& target : targets)
        after.push_back(indexOf(target));
    changePersistentIndexList(before, after);
    Q_EMIT layoutChanged();
}

}  // namespace lumicrate::views
