// SPDX-License-Identifier: GPL-3.0-or-later
// MessageParts: the parts that small windows with a message are built from.
#pragma once

#include <QIcon>
#include <QLabel>
#include <QString>
#include <string>
#include <string_view>

class QPushButton;
class QVBoxLayout;
class QWidget;

namespace lumicrate::views {

/// Gives a window its title, the application's icon, and Escape and Ctrl+W as keys that close it.
void prepareWindow(QWidget& window, const QString& title);

/// The application's icon, `side` points wide.
QLabel* iconLabel(int side);
/// Bold text, `size` times as large as other text.
QLabel* titleLabel(const QString& text, double size);
/// A symbol with a bold line and text beside it.
QWidget* symbolPoint(std::string_view symbol, const std::string& title, const std::string& text);
/// A button with some room beside its text.
QPushButton* roomyButton(const QString& text, const QIcon& icon = {});
/// A command for a terminal in a read-only field, with a button that copies it.
QWidget* copyableCommand(const QString& command);

/// The layout of such a window: about `characters` wide, as high as its text needs, not resizable.
QVBoxLayout* messageLayout(QWidget& window, int characters);

}  // namespace lumicrate::views
