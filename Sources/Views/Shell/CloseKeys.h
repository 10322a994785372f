// The keys that close a window.
#pragma once

#include <QKeySequence>
#include <QShortcut>
#include <QWidget>

namespace lumicrate::views {

/// Escape and Ctrl+W close the window.
inline void addCloseKeys(QWidget& window) {
    for (const QKeySequence& keys : {QKeySequence(Qt::Key_Escape), QKeySequence(Qt::CTRL | Qt::Key_W)})
        QObject::connect(new QShortcut(keys, &window), &QShortcut::activated, &window, &QWidget::close);
}

}  // namespace lumicrate::views
