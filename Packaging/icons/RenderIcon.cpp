// SPDX-License-Identifier: GPL-3.0-or-later
// lumicrate-render-icon: renders an SVG drawing as a square PNG picture, for the installed icons.
//
//     lumicrate-render-icon DRAWING.svg SIZE PICTURE.png
#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QImage>
#include <QPainter>
#include <QStringList>
#include <QSvgRenderer>
#include <cstdio>

int main(int argc, char** argv) {
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    const int size = arguments.value(2).toInt();
    if (arguments.size() != 4 || size <= 0) {
        std::fputs("Usage: lumicrate-render-icon DRAWING.svg SIZE PICTURE.png\n", stderr);
        return 2;
    }
    QSvgRenderer drawing(arguments[1]);
    QImage picture(size, size, QImage::Format_ARGB32);
    picture.fill(Qt::transparent);
    QPainter painter(&picture);
    drawing.render(&painter);
    painter.end();
    QDir().mkpath(QFileInfo(arguments[3]).path());
    if (drawing.isValid() && picture.save(arguments[3])) return 0;
    std::fputs("lumicrate-render-icon: the picture couldn't be made.\n", stderr);
    return 1;
}
