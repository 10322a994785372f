// BarButton: a plain button of a dark bar, with a symbol, that lights up under the pointer.
#pragma once

#include <QAbstractButton>
#include <functional>
#include <string>
#include <utility>

namespace lumicrate::views {

/// Takes the keys from nobody. Its tool tip is shown by whoever asks for it: a window of its own would be in
/// the recording.
class BarButton : public QAbstractButton {
 public:
    /// Paints into a square of measure::symbol points.
    using Icon = std::function<void(QPainter&, const QRectF& square)>;

    BarButton(Icon icon, QWidget* parent);

    /// Name for assistive technology, and tip.
    void setHelp(const std::string& help);
    QString help() const { return accessibleName(); }
    void setIconPainter(Icon icon);
    /// Called with true when the tip is to be shown, with false when it is to go.
    void setOnTip(std::function<void(bool shown)> onTip) { onTip_ = std::move(onTip); }
    QSize sizeHint() const override;

 protected:
    bool event(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    QRectF iconSquare() const;

 private:
    void tip(bool shown) const {
        if (onTip_) onTip_(shown);
    }

    Icon icon_;
    std::function<void(bool)> onTip_;
};

/// An icon in one colour.
BarButton::Icon barSymbol(std::string name, double opacity);

}  // namespace lumicrate::views
