// SPDX-License-Identifier: GPL-3.0-or-later
// A program with a window, for which it opens a menu, a list, a tool tip, a dialog, and a dialog of that, one
// after the other and again and again, each in its colour. It prints the window's number and then a line with
// every step.
#include <QApplication>
#include <QComboBox>
#include <QDialog>
#include <QMenu>
#include <QTimer>
#include <QToolTip>
#include <functional>
#include <iostream>

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    application.setEffectEnabled(Qt::UI_AnimateCombo, false);
    application.setStyleSheet(
        "QMenu { background: #c00000; min-width: 120px; min-height: 80px }"
        "QAbstractItemView { background: #00a000; min-height: 60px }"
        "QToolTip { background: #0000c0; padding: 40px; border: 0 }");
    QWidget window(nullptr, Qt::FramelessWindowHint);
    const auto setUp = [](QWidget& widget, const QRect& frame, const char* style) {
        widget.setStyleSheet(style);
        widget.setGeometry(frame);
    };
    setUp(window, {100, 100, 500, 400}, ".QWidget { background: #808080 }");
    QComboBox box(&window);
    box.addItems({" ", " ", " "});
    box.setGeometry(20, 20, 150, 30);
    QMenu menu(&window);
    menu.addAction(" ");
    QDialog dialog(&window, Qt::FramelessWindowHint);
    setUp(dialog, {400, 120, 150, 100}, ".QDialog { background: #c0c000 }");
    QDialog inner(&dialog, Qt::FramelessWindowHint);
    setUp(inner, {420, 300, 150, 100}, ".QDialog { background: #00c0c0 }");
    window.show();
    std::cout << window.winId() << std::endl;

    const std::function<void()> steps[] = {
        [&] {
            menu.popup({150, 300});
        },
        [&] {
            menu.hide();
            box.showPopup();
        },
        [&] { box.hidePopup(); },
        [&] {
            QToolTip::showText({300, 300}, "tip", &window);
        },
        [&] {
            QToolTip::hideText();
            dialog.show();
        },
        [&] { inner.show(); },
        [&] {
            inner.hide();
            dialog.hide();
        },
    };
    QTimer timer;
    QObject::connect(&timer, &QTimer::timeout, [&steps, next = 0UL]() mutable {
        steps[next++ % std::size(steps)]();
        std::cout << "step" << std::endl;
    });
    timer.start(500);
    return QApplication::exec();
}
