// SizeField: a number of pixels, typed or stepped.
#pragma once

#include <QLineEdit>
#include <functional>
#include <string>

namespace lumicrate::views {

/// Shows a value until something else is typed. Return, or leaving the field, hands over what was typed;
/// then the value is shown again, as it is by then. Up and Down step, by one or with Shift by ten. Return
/// gives the keys back to what the bar floats on; Escape goes on to it.
class SizeField final : public QLineEdit {
 public:
    struct Actions {
        std::function<void(const std::string& typed)> commit;
        std::function<void(const std::string& typed, int by)> step;
    };

    /// `mark` is a letter or two that stand in the field.
    SizeField(const QString& name, QString mark, Actions actions, QWidget* parent);

    /// What is being typed stays.
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
    bool selectsByPress_ = false;  ///< the press that gave it the keys is not over
};

}  // namespace lumicrate::views
