// PlateMenuStyle: how the menus of a selection's bars are laid out and painted.
#pragma once

#include <QProxyStyle>
#include <QStyleOptionMenuItem>

namespace lumicrate::views {

/// Dark in every theme, as the bars are; headings, and a check mark before what is chosen.
class PlateMenuStyle final : public QProxyStyle {
 public:
    /// Of the menu's corners, in points.
    static constexpr double corner = 9;

    QSize sizeFromContents(ContentsType type, const QStyleOption* option, const QSize& contents,
                           const QWidget* widget) const override;
    int pixelMetric(PixelMetric metric, const QStyleOption* option, const QWidget* widget) const override;
    int styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                  QStyleHintReturn* returned) const override;
    void drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                       const QWidget* widget) const override;
    void drawControl(ControlElement element, const QStyleOption* option, QPainter* painter,
                     const QWidget* widget) const override;

 private:
    static void paintItem(const QStyleOptionMenuItem& item, QPainter& painter);
};

}  // namespace lumicrate::views
