// SPDX-License-Identifier: GPL-3.0-or-later
// SizeField: a number of pixels that is typed or stepped.
#pragma once

#include <QLineEdit>
#include <functional>
#include <string>

namespace lumicrate::views {

/// Shows the value of the selection until the user types. Return, and leaving the field, commit what was
/// typed; the field then shows the value that the selection has by then, which may be another one. Up and
/// Down step by 1, with Shift by 10. Return moves the focus back to the overlay; Escape is passed on to it.
class SizeField final : public QLineEdit {
 public:
    struct Actions {
        std::function<void(const std::string& typed)> commit;
        std::function<void(const std::string& typed, int by)> step;
    };

    /// `mark` is shown inside the field: "W".
    SizeField(const QString& name, QString mark, Actions actions, QWidget* parent);

    /// Does not replace what is being typed.
    void setValue(int value);
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

 protected:
    void paintEvent(QPaintEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

 private:
    void commit();
    void showValue();
    int markWidth() const;

    QString mark_;
    Actions actions_;
    int value_ = 0;
    bool isFocusPress_ = false;  ///< the press that focused the field is not released yet
};

}  // namespace lumicrate::views
