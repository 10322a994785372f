// What windows with a message are put together from.
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

/// The application's icon, `side` points wide.
QLabel* iconLabel(int side);
/// Larger than other text, as a multiple of its size, and bold.
QLabel* titleLabel(const QString& text, double size);
/// A symbol, beside it a bold line and text.
QWidget* symbolPoint(std::string_view symbol, const std::string& title, const std::string& text);

/// With some air beside its text.
QPushButton* roomyButton(const QString& text, const QIcon& icon = {});

/// Margins and spacing of such a window, about `characters` wide and as high as its text needs; it cannot be
/// resized.
QVBoxLayout* messageLayout(QWidget& window, int characters);

}  // namespace lumicrate::views
