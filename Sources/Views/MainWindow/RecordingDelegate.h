// SPDX-License-Identifier: GPL-3.0-or-later
// RecordingDelegate: paints rows of recordings with a menu button, and edits their names.
#pragma once

#include "Views/Widgets/PictureRowDelegate.h"

#include <QModelIndex>
#include <functional>

namespace lumicrate::views {

class RecordingDelegate final : public PictureRowDelegate {
 public:
    struct Handlers {
        std::function<void(const QModelIndex&, QPoint globalPosition)> openMenu;
        std::function<void(const QModelIndex&, const QString& typed)> rename;
    };

    RecordingDelegate(Handlers handlers, QObject* parent)
        : PictureRowDelegate(parent), handlers_(std::move(handlers)) {}

    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override;
    bool editorEvent(QEvent* event, QAbstractItemModel* model, const QStyleOptionViewItem& option,
                     const QModelIndex& index) override;
    QWidget* createEditor(QWidget* parent, const QStyleOptionViewItem& option,
                          const QModelIndex& index) const override;
    void setEditorData(QWidget* editor, const QModelIndex& index) const override;
    void setModelData(QWidget* editor, QAbstractItemModel* model, const QModelIndex& index) const override;
    void updateEditorGeometry(QWidget* editor, const QStyleOptionViewItem& option,
                              const QModelIndex& index) const override;

    /// The place of the row's menu button.
    static QRect buttonRect(const QStyleOptionViewItem& option);

 protected:
    int reserved() const override;

 private:
    Handlers handlers_;
};

}  // namespace lumicrate::views
