#include "Views/Overlays/Selection/PlateMenu.h"

#include "Views/Overlays/Selection/BarPlate.h"
#include "Views/Overlays/Selection/PlateButton.h"
#include "Views/Overlays/Selection/PlateMenuStyle.h"
#include "Views/Overlays/Selection/PlateParts.h"
#include "Views/Overlays/WindowShape.h"

#include <QAction>
#include <QMenu>
#include <QPainterPath>
#include <QScreen>

namespace lumicrate::views {

namespace {

constexpr int distance = 5;

/// Cut out by the pixel, so that it is round also where nothing is translucent.
class PlateMenu final : public QMenu {
 public:
    explicit PlateMenu(QWidget* parent) : QMenu(parent) {
        auto* const look = new PlateMenuStyle;
        look->setParent(this);
        setStyle(look);
        setFont(plate::font(font()));
    }

 protected:
    void showEvent(QShowEvent* event) override {
        QMenu::showEvent(event);
        cutOut();
    }
    void resizeEvent(QResizeEvent* event) override {
        QMenu::resizeEvent(event);
        cutOut();
    }

 private:
    void cutOut() const {
        if (!windowHandle()) return;
        QPainterPath outline;
        outline.addRoundedRect(rect(), PlateMenuStyle::corner, PlateMenuStyle::corner);
        setPixelShape(*windowHandle(), pixelsOf(outline, size(), devicePixelRatioF()));
    }
};

/// Left edges in line; beyond the bar rather than over it.
QPoint placeOf(const QMenu& menu, const PlateButton& from) {
    const QWidget* const bar = BarPlate::of(from);
    const QRect button(from.mapToGlobal(QPoint(0, 0)), from.size());
    const QRect ground = bar ? QRect(bar->mapToGlobal(QPoint(0, 0)), bar->size()) : button;
    const QRect screen = from.screen()->geometry();
    const QSize size = menu.sizeHint();
    const int below = ground.bottom() + 1 + distance;
    const int above = ground.top() - distance - size.height();
    const bool goesAbove = below + size.height() > screen.bottom() + 1 && above >= screen.top();
    return {button.left(), goesAbove ? above : below};
}

QAction* checkedAction(const QMenu& menu) {
    for (QAction* each : menu.actions()) {
        if (each->isChecked()) return each;
    }
    return nullptr;
}

}  // namespace

QMenu* makeMenu(PlateButton& button) {
    auto* const menu = new PlateMenu(&button);
    QObject::connect(menu, &QMenu::aboutToHide, &button, [&button] { button.setDown(false); });
    return menu;
}

void popUp(QMenu& menu, const PlateButton& button) {
    menu.setAccessibleName(button.accessibleName());
    menu.popup(placeOf(menu, button));
    // Whoever works with the keys finds the present choice under them.
    if (button.hasFocus()) menu.setActiveAction(checkedAction(menu));
}

}  // namespace lumicrate::views
