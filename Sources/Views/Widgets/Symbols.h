// Symbols: the program's own family of icons.
#pragma once

#include <QColor>
#include <QIcon>
#include <QPixmap>
#include <QRectF>
#include <string_view>

class QPainter;

namespace lumicrate::views {

/// A symbol by its name ("mic.fill", "gearshape"; the files of Resources/Icons), sharp at every size and
/// scale. It has the colour of button text, follows the palette when that changes, and is pale where it is
/// disabled.
QIcon symbol(std::string_view name);
/// The same in one colour.
QIcon symbol(std::string_view name, const QColor& color);
/// Paints a symbol into a square of the painter's coordinates.
void paintSymbol(QPainter& painter, const QRectF& square, std::string_view name, const QColor& color);

/// The application's own icon, in colour.
QIcon applicationIcon();

}  // namespace lumicrate::views
