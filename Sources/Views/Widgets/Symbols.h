// SPDX-License-Identifier: GPL-3.0-or-later
// Symbols: the program's icons.
#pragma once

#include <QColor>
#include <QIcon>
#include <QRectF>
#include <string_view>

class QPainter;

namespace lumicrate::views {

/// A symbol by its name ("mic.fill", "gearshape"; the files of Resources/Icons), sharp at every size and
/// scale. It has the colour of button text, follows changes of the palette, and is pale when
/// disabled.
QIcon symbol(std::string_view name);
/// Paints a symbol into a square of the painter's coordinates.
void paintSymbol(QPainter& painter, const QRectF& square, std::string_view name, const QColor& color);

/// The application's own icon, in colour.
QIcon applicationIcon();

}  // namespace lumicrate::views
